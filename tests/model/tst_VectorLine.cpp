#include <QtTest>

class tst_VectorLine : public QObject
{
    Q_OBJECT
};

QTEST_MAIN(tst_VectorLine)
#include "tst_VectorLine.moc"
