#include <QtTest>

class tst_kstSevenParamter : public QObject
{
    Q_OBJECT
};

QTEST_GUILESS_MAIN(tst_kstSevenParamter)
#include "tst_kstSevenParamter.moc"
