#include <QtTest>

class tst_kstVectorStyle : public QObject
{
    Q_OBJECT
};

QTEST_GUILESS_MAIN(tst_kstVectorStyle)
#include "tst_kstVectorStyle.moc"
