#include <QtTest>

class tst_VectorRectCircle : public QObject
{
    Q_OBJECT
};

QTEST_MAIN(tst_VectorRectCircle)
#include "tst_VectorRectCircle.moc"
