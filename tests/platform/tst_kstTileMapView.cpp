#include <QtTest>

class tst_kstTileMapView : public QObject
{
    Q_OBJECT
};

QTEST_MAIN(tst_kstTileMapView)
#include "tst_kstTileMapView.moc"
