#include "kstDemoFitPanel.h"
#include "kstDemoUndoActions.h"

#include "VectorPoint.h"
#include "kstSampleLayer.h"
#include "kstShapeTestSupport.h"
#include "kstProjection.h"
#include "kstResulotion.h"
#include "kstTileMapView.h"
#include "kstVectorCollect.h"
#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"
#include "kstVectorLayerMemo.h"

#include <QAction>
#include <QGraphicsSceneMouseEvent>
#include <QPushButton>
#include <QTableWidget>
#include <QtTest>

using namespace Kestrum;

namespace {

// Fit lines drawn with the edit layer's own Fit-mode click handler.
class ClickableEditLayer : public kstVectorEditLayer
{
public:
    void clickAt(const PCP& pcp)
    {
        kstProjection* proj = mapView()->projection();
        QGraphicsSceneMouseEvent event(QEvent::GraphicsSceneMouseRelease);
        event.setPos(pcp.toPix(mapView()->resolution()->mpp(mapView()->level()), proj->ltGcp().toPcp(proj)));
        on_Fit_LeftClicked(&event);
    }
};

QPushButton* button(QWidget* panel, const QString& text)
{
    for (QPushButton* b : panel->findChildren<QPushButton*>())
        if (b->text() == text)
            return b;
    return nullptr;
}

} // namespace

class tst_kstDemoEditTools : public QObject
{
    Q_OBJECT

private slots:
    void undoActionsFollowTheRecorder();
    void fitPanelEstimatesAndApplies();
};

void tst_kstDemoEditTools::undoActionsFollowTheRecorder()
{
    kstVectorEditLayer editLayer;
    kstDemoUndoActions actions(&editLayer);
    QVERIFY(!actions.undoAction()->isEnabled() && !actions.redoAction()->isEnabled());
    QCOMPARE(actions.undoAction()->shortcut(), QKeySequence(QStringLiteral("Ctrl+Z")));
    QCOMPARE(actions.redoAction()->shortcut(), QKeySequence(QStringLiteral("Ctrl+Shift+Z")));

    editLayer.memoer()->memo(LayerMemo::Action(99), QMap<QString, QVariant>());
    QVERIFY(actions.undoAction()->isEnabled() && !actions.redoAction()->isEnabled());
    actions.undoAction()->trigger();
    QVERIFY(!actions.undoAction()->isEnabled());
    QVERIFY(editLayer.memoer()->undoList().isEmpty());
}

void tst_kstDemoEditTools::fitPanelEstimatesAndApplies()
{
    auto* editLayer = new ClickableEditLayer;
    ShapeTestScene scene(GCP(116.4, 39.9), 11, editLayer);
    editLayer->setLayerAction(kstVectorEditLayer::Fit);
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    auto* point = new VectorPoint(QPointF(116.4, 39.9), nullptr);
    addCollect(layer, {point});
    editLayer->insertLayer(layer, 0);

    kstDemoFitPanel panel(editLayer);
    QVERIFY(!panel.valid());
    // Three lines that shift everything by (250 m, -100 m).
    kstProjection* proj = scene.projection();
    const PCP origin = GCP(116.4, 39.9).toPcp(proj);
    for (const QPointF& offset : {QPointF(0, 0), QPointF(3000, 500), QPointF(-1200, 2500)}) {
        const PCP from(origin.x() + offset.x(), origin.y() + offset.y());
        editLayer->clickAt(from);
        editLayer->clickAt(PCP(from.x() + 250, from.y() - 100));
    }
    QCOMPARE(panel.table()->rowCount(), 3);
    QVERIFY(panel.valid());
    QVERIFY(std::abs(panel.estimate().fourParamter().dx - 250) < 1e-3);
    QVERIFY(std::abs(panel.estimate().fourParamter().scale - 1) < 1e-9);
    QCOMPARE(panel.table()->item(1, 0)->text(), QString::number(origin.x() + 3000, 'f', 3));

    // Apply to layer moves the point onto its target.
    QCOMPARE(panel.currentLayer(), layer);
    button(&panel, QStringLiteral("Apply to layer"))->click();
    const PCP moved = GCP(point->geoData()).toPcp(proj);
    QVERIFY(std::hypot(moved.x() - origin.x() - 250, moved.y() - origin.y() + 100) < 1e-3);

    // Reverse swaps the columns; Delete removes the current row; Clear empties.
    const QString target = panel.table()->item(0, 2)->text();
    button(&panel, QStringLiteral("Reverse"))->click();
    QCOMPARE(panel.table()->item(0, 0)->text(), target);
    panel.table()->setCurrentCell(2, 0);
    QCOMPARE(editLayer->selectedFitLine(), 2);
    button(&panel, QStringLiteral("Delete"))->click();
    QCOMPARE(panel.table()->rowCount(), 2);
    button(&panel, QStringLiteral("Clear"))->click();
    QCOMPARE(panel.table()->rowCount(), 0);
    QVERIFY(!panel.valid());

    editLayer->deleteLayer(layer);
}

QTEST_MAIN(tst_kstDemoEditTools)
#include "tst_kstDemoEditTools.moc"
