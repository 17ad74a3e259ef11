#include <QtTest>

class tst_VectorPoint : public QObject
{
    Q_OBJECT
};

QTEST_MAIN(tst_VectorPoint)
#include "tst_VectorPoint.moc"
