#include <QtTest>

class tst_kstFourParamter : public QObject
{
    Q_OBJECT
};

QTEST_GUILESS_MAIN(tst_kstFourParamter)
#include "tst_kstFourParamter.moc"
