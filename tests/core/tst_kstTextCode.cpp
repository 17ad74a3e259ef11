#include <QtTest>

class tst_kstTextCode : public QObject
{
    Q_OBJECT
};

QTEST_GUILESS_MAIN(tst_kstTextCode)
#include "tst_kstTextCode.moc"
