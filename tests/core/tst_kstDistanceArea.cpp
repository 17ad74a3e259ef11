#include <QtTest>

class tst_kstDistanceArea : public QObject
{
    Q_OBJECT
};

QTEST_GUILESS_MAIN(tst_kstDistanceArea)
#include "tst_kstDistanceArea.moc"
