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

void tst_kstVectorStyle::defaultsMatchTheLibraryLook()
{
    // The marker is the compiled-in picture: 32 pixels, opaque at its tip.
    QCOMPARE(kstVectorStyle::markerIcon_default.size(), QSize(32, 32));
    QCOMPARE(kstVectorStyle::markerAnchor_default, QPoint(17, 31));
    QVERIFY(qAlpha(kstVectorStyle::markerIcon_default.pixel(17, 30)) > 0);
    QCOMPARE(qAlpha(kstVectorStyle::markerIcon_default.pixel(0, 31)), 0);
    QVERIFY(!QImage(QStringLiteral(":/kstVector/Resources/icon/cursor_vexter_move_32.png")).isNull());

    const QPen border = kstVectorStyle::pointBorderPen_default;
    QCOMPARE(border.color(), QColor(68, 68, 68, 255));
    QCOMPARE(border.widthF(), 1.0);
    QCOMPARE(border.capStyle(), Qt::SquareCap);
    QCOMPARE(border.joinStyle(), Qt::BevelJoin);
    QCOMPARE(kstVectorStyle::linePen_default.widthF(), 1.5);
    QCOMPARE(kstVectorStyle::linePen_default.color(), QColor(0, 255, 0));
    QCOMPARE(kstVectorStyle::polygonFillBrush_default.color(), QColor(0, 0, 255, 68));
    QCOMPARE(kstVectorStyle::polygonFillBrush_New_default.color(), QColor(0, 0, 255, 51));
    QCOMPARE(kstVectorStyle::polygonBorderPen_New_default.color(), QColor(Qt::red));

    QCOMPARE(kstVectorStyle::labelFont_default.family(), QStringLiteral("微软雅黑"));
    QCOMPARE(kstVectorStyle::labelFont_default.pointSize(), 9);
    QVERIFY(!kstVectorStyle::labelFont_default.italic());

    // The changeable values start as copies of the constants.
    QCOMPARE(kstVectorStyle::linePen, kstVectorStyle::linePen_default);
    QCOMPARE(kstVectorStyle::markerIcon, kstVectorStyle::markerIcon_default);
    QCOMPARE(kstVectorStyle::boxLineWidth, 1.5);
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
