#include <QtTest>

class tst_kstCoordinates : public QObject
{
    Q_OBJECT
};

QTEST_MAIN(tst_kstCoordinates)
#include "tst_kstCoordinates.moc"
