#include <QtTest>

class tst_VectorPolygon : public QObject
{
    Q_OBJECT
};

QTEST_MAIN(tst_VectorPolygon)
#include "tst_VectorPolygon.moc"
