#include "kstVectorStyle.h"

#include <QtTest>

using namespace Kestrum;

class tst_kstVectorStyle : public QObject
{
    Q_OBJECT

private slots:
    void defaultsMatchTheLibraryLook();
    void resetRestoresOnlyWhatItCovers();
    void randomStylesChangeNothing();
};

// The pictures come from the library's resources; the changeable values
// start as copies of the constants.
void tst_kstVectorStyle::defaultsMatchTheLibraryLook()
{
    QCOMPARE(kstVectorStyle::markerIcon_default.size(), QSize(32, 32));
    QVERIFY(qAlpha(kstVectorStyle::markerIcon_default.pixel(17, 30)) > 0);
    QCOMPARE(qAlpha(kstVectorStyle::markerIcon_default.pixel(0, 31)), 0);
    QVERIFY(!QImage(QStringLiteral(":/kstVector/Resources/icon/cursor_vexter_move_32.png")).isNull());
    QCOMPARE(kstVectorStyle::linePen, kstVectorStyle::linePen_default);
    QCOMPARE(kstVectorStyle::markerIcon, kstVectorStyle::markerIcon_default);
}

void tst_kstVectorStyle::resetRestoresOnlyWhatItCovers()
{
    kstVectorStyle::linePen = QPen(Qt::blue, 7);
    kstVectorStyle::pointSize = 3;
    kstVectorStyle::markerIcon = QImage();
    kstVectorStyle::labelTextClr = Qt::cyan;
    kstVectorStyle::vertexSize = 1;
    kstVectorStyle::fitLineSelectedWidth = 9;
    kstVectorStyle::boxLineClr = Qt::blue;
    kstVectorStyle::linePen_New = QPen(Qt::green);
    kstVectorStyle::polygonFillBrush_New = QBrush(Qt::green);

    kstVectorStyle::resetBoxSelectLineStyle();
    QCOMPARE(kstVectorStyle::boxLineClr, QColor(Qt::blue));

    kstVectorStyle::resetStyle();
    QCOMPARE(kstVectorStyle::linePen, kstVectorStyle::linePen_default);
    QCOMPARE(kstVectorStyle::pointSize, 8.0);
    QCOMPARE(kstVectorStyle::markerIcon, kstVectorStyle::markerIcon_default);
    QCOMPARE(kstVectorStyle::labelTextClr, QColor(Qt::white));
    QCOMPARE(kstVectorStyle::vertexSize, 8.0);
    QCOMPARE(kstVectorStyle::fitLineSelectedWidth, 3.0);
    // Left alone by the reset: the box line and the new-shape look.
    QCOMPARE(kstVectorStyle::boxLineClr, QColor(Qt::blue));
    QCOMPARE(kstVectorStyle::linePen_New, QPen(Qt::green));
    QCOMPARE(kstVectorStyle::polygonFillBrush_New, QBrush(Qt::green));
}

void tst_kstVectorStyle::randomStylesChangeNothing()
{
    kstVectorStyle::resetStyle();
    const QPen pen = kstVectorStyle::linePen;
    const QBrush brush = kstVectorStyle::polygonFillBrush;
    const QFont font = kstVectorStyle::labelFont;
    const QColor vertex = kstVectorStyle::vertexClr2;
    const double fit = kstVectorStyle::fitLineWidth;
    kstVectorStyle::randPointStyle();
    kstVectorStyle::randLineStyle();
    kstVectorStyle::randAreaStyle();
    kstVectorStyle::randLabelStyle();
    kstVectorStyle::randVertexStyle();
    kstVectorStyle::randFitLineStyle();
    kstVectorStyle::randBoxSelectLineStyle();
    kstVectorStyle::randStyle();
    kstVectorStyle::randStyleUnique();
    QCOMPARE(kstVectorStyle::linePen, pen);
    QCOMPARE(kstVectorStyle::polygonFillBrush, brush);
    QCOMPARE(kstVectorStyle::labelFont, font);
    QCOMPARE(kstVectorStyle::vertexClr2, vertex);
    QCOMPARE(kstVectorStyle::fitLineWidth, fit);
}

QTEST_MAIN(tst_kstVectorStyle)
#include "tst_kstVectorStyle.moc"
