#include "kstElement.h"
#include "kstTileMapView.h"
#include "kstTileResulotion.h"
#include "kstWebMercatorProjection.h"

#include <QGraphicsScene>
#include <QPainter>
#include <QtTest>

using namespace Kestrum;

namespace {

// A plain projection that differs from the default one, to switch to.
class ShiftedMercator : public kstWebMercatorProjection
{
public:
    kstPlaneCoordinatesPoint forward(const kstGeographicalCoordinatesPoint& gcp) const override
    {
        const PCP p = kstWebMercatorProjection::forward(gcp);
        return PCP(p.x() + 1000.0, p.y());
    }
    kstGeographicalCoordinatesPoint inverse(const kstPlaneCoordinatesPoint& pcp) const override
    {
        return kstWebMercatorProjection::inverse(PCP(pcp.x() - 1000.0, pcp.y()));
    }
};

class Marker : public kstElement
{
public:
    QRectF boundingRect() const override { return QRectF(0, 0, 10, 10); }
    void paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*) override
    {
        painter->fillRect(boundingRect(), Qt::red);
    }
};

void sendMouse(QWidget* w, QEvent::Type type, QPointF pos, Qt::MouseButton button, Qt::MouseButtons buttons)
{
    QMouseEvent event(type, pos, w->mapToGlobal(pos.toPoint()), button, buttons, Qt::NoModifier);
    QApplication::sendEvent(w, &event);
}

void sendWheel(QWidget* w, QPointF pos, int delta)
{
    QWheelEvent event(pos, w->mapToGlobal(pos.toPoint()), QPoint(), QPoint(0, delta), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(w, &event);
}

} // namespace

class tst_kstTileMapView : public QObject
{
    Q_OBJECT

private slots:
    void panAndZoomPlaceTheCentre();
    void dragPansAndWheelZoomsAboutTheCursor();
    void setConfigAnnouncesBeforeAndAfter();
    void elementsJoinAndLeaveTheScene();
};

void tst_kstTileMapView::panAndZoomPlaceTheCentre()
{
    kstTileMapView view;
    view.resize(400, 300);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    QCOMPARE(view.viewSize(), QSize(400, 300));
    QCOMPARE(view.scene()->sceneRect(), QRectF(0, 0, 400, 300));

    QSignalSpy changed(&view, &kstTileMapView::viewChanged);
    view.panAndZoom(GCP(116.39, 39.91), 10);
    QCOMPARE(changed.count(), 1);
    const kstMeterPerPixle__ mpp = view.resolution()->mpp(10);
    const PCP expectedLt = GCP(116.39, 39.91).toPcp(view.projection()).rbPcp(mpp, QSizeF(-200, -150));
    QCOMPARE(changed.at(0).at(0).value<PCP>(), expectedLt);
    QCOMPARE(changed.at(0).at(1).toInt(), 10);
    QCOMPARE(view.currentLeftTopPcp(), expectedLt);
    QVERIFY(qAbs(view.currentCenterGcp().lon() - 116.39) < 1e-9);
    QVERIFY(qAbs(view.currentCenterGcp().lat() - 39.91) < 1e-9);

    // Same place again: nothing to announce. Levels are clamped.
    view.panAndZoom(GCP(116.39, 39.91), 10);
    QCOMPARE(changed.count(), 1);
    view.panAndZoom(GCP(0, 0), 99);
    QCOMPARE(view.level(), 22);

    // A resize keeps the centre.
    view.panAndZoom(GCP(10, 20), 5);
    view.resize(600, 500);
    QTRY_COMPARE(view.viewSize(), QSize(600, 500));
    QVERIFY(qAbs(view.currentCenterGcp().lon() - 10) < 1e-6);
    QVERIFY(qAbs(view.currentCenterGcp().lat() - 20) < 1e-6);
}

void tst_kstTileMapView::dragPansAndWheelZoomsAboutTheCursor()
{
    kstTileMapView view;
    view.resize(400, 300);
    view.show();
    QVERIFY(QTest::qWaitForWindowExposed(&view));
    view.panAndZoom(GCP(0, 0), 4);
    QWidget* vp = view.viewport();
    const PCP lt0 = view.currentLeftTopPcp();
    const kstMeterPerPixle__ mpp4 = view.resolution()->mpp(4);

    // Dragging the map 30 px right and 20 px down shows what lay up-left of it.
    QSignalSpy changed(&view, &kstTileMapView::viewChanged);
    sendMouse(vp, QEvent::MouseButtonPress, QPointF(100, 100), Qt::LeftButton, Qt::LeftButton);
    sendMouse(vp, QEvent::MouseMove, QPointF(130, 120), Qt::NoButton, Qt::LeftButton);
    sendMouse(vp, QEvent::MouseButtonRelease, QPointF(130, 120), Qt::LeftButton, Qt::NoButton);
    QCOMPARE(changed.count(), 1);
    const PCP lt1 = lt0.rbPcp(mpp4, QSizeF(-30, -20));
    QCOMPARE(changed.at(0).at(0).value<PCP>(), lt1);
    QCOMPARE(changed.at(0).at(1).toInt(), 4);

    // With dragging disabled the same gesture leaves the map in place.
    view.setDragEnable(false);
    sendMouse(vp, QEvent::MouseButtonPress, QPointF(100, 100), Qt::LeftButton, Qt::LeftButton);
    sendMouse(vp, QEvent::MouseMove, QPointF(150, 150), Qt::NoButton, Qt::LeftButton);
    sendMouse(vp, QEvent::MouseButtonRelease, QPointF(150, 150), Qt::LeftButton, Qt::NoButton);
    QCOMPARE(changed.count(), 1);
    view.setDragEnable(true);

    // One wheel notch zooms in one level; the point under the cursor stays put.
    const QPointF cursor(80, 210);
    const GCP under = view.pixToGcp(cursor);
    sendWheel(vp, cursor, 120);
    QCOMPARE(changed.count(), 2);
    QCOMPARE(changed.at(1).at(1).toInt(), 5);
    const QPointF again = view.gcpToPix(under);
    QVERIFY(qAbs(again.x() - cursor.x()) < 1e-6 && qAbs(again.y() - cursor.y()) < 1e-6);
    sendWheel(vp, cursor, -240);
    QCOMPARE(view.level(), 3);
    const QPointF afterOut = view.gcpToPix(under);
    QVERIFY(qAbs(afterOut.x() - cursor.x()) < 1e-6 && qAbs(afterOut.y() - cursor.y()) < 1e-6);
}

void tst_kstTileMapView::setConfigAnnouncesBeforeAndAfter()
{
    kstTileMapView view;
    view.resize(300, 200);
    view.panAndZoom(GCP(30, 10), 6);
    ShiftedMercator shifted;
    kstTileResulotion resolution;

    QStringList order;
    connect(&view, &kstTileMapView::configNeedChange, this,
            [&](kstProjection* p, kstResulotion*, kstCorrection*) {
                QCOMPARE(p, &shifted);
                QVERIFY(view.projection() != &shifted);
                order << QStringLiteral("need");
            });
    connect(&view, &kstTileMapView::viewChanged, this, [&] { order << QStringLiteral("view"); });
    connect(&view, &kstTileMapView::configChanged, this,
            [&](kstProjection* p, kstResulotion* r, kstCorrection* c) {
                QCOMPARE(p, &shifted);
                QCOMPARE(r, &resolution);
                QCOMPARE(c, view.correction());
                QCOMPARE(view.projection(), &shifted);
                order << QStringLiteral("changed");
            });
    view.setConfig(&shifted, &resolution, nullptr);
    QCOMPARE(order, (QStringList{QStringLiteral("need"), QStringLiteral("view"), QStringLiteral("changed")}));
    // The centre survives the change of projection.
    QVERIFY(qAbs(view.currentCenterGcp().lon() - 30) < 1e-9);
    QVERIFY(qAbs(view.currentCenterGcp().lat() - 10) < 1e-9);
}

void tst_kstTileMapView::elementsJoinAndLeaveTheScene()
{
    kstTileMapView view;
    Marker marker;
    QVERIFY(!marker.mapView());
    marker.removeFromMapView(); // not on a view: nothing happens
    marker.addToMapView(&view);
    QCOMPARE(marker.mapView(), &view);
    QCOMPARE(marker.scene(), view.scene());
    marker.removeFromMapView();
    QVERIFY(!marker.scene());
    QVERIFY(!marker.mapView());
    QCOMPARE(marker.category(), 0);
    QVERIFY(!marker.allowOverZoomMap());
}

QTEST_MAIN(tst_kstTileMapView)
#include "tst_kstTileMapView.moc"
