// A host application in miniature: a shown map view with an edit layer of
// 1 500 shapes that follows zooms and configuration changes while the view
// repaints between them, as under the host's event loop. It exits with 0
// when it got through; the test that starts it reads what Qt printed.
#include "kstMixedLayer.h"
#include "kstShapeTestSupport.h"
#include "kstVectorCollect.h"
#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"

#include <QApplication>
#include <QtTest>

using namespace Kestrum;

namespace {

void settle(kstTileMapView& view)
{
    view.viewport()->repaint();
    QTest::qWait(2);
}

} // namespace

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    ShapeTestScene scene(GCP(110, 35), 7);
    kstTileMapView& view = scene.view();
    kstVectorEditLayer& edit = scene.layer();
    kstVectorLayer* layer = mixedLayer(1500, 17);
    edit.insertLayer(layer, 0);
    edit.resetZLevel();
    int n = 0;
    for (kstVectorCollect* collect : qAsConst(layer->m_collects))
        if (++n % 7 == 0)
            edit.selectShape(collect->m_shapes.first());
    edit.updateLabels();
    settle(view);

    ShiftedMercator shifted(5000.0, -3000.0);
    ShiftCorrection shift(0.001, -0.002);
    for (int round = 0; round < 12; ++round) {
        round % 2 ? view.zoomOut() : view.zoomIn();
        settle(view);
        view.panBy(QPointF(13, -7));
        settle(view);
        if (round % 3 == 0) {
            view.setConfig(round % 2 ? nullptr : &shifted, nullptr, &shift);
            settle(view);
            edit.correctInShapes();
            edit.correctOutShapes();
            settle(view);
        }
    }
    view.setConfig(nullptr, nullptr, nullptr);
    settle(view);
    edit.removeLayer(layer);
    kstVectorLayer::destoryLayer(layer);
    return 0;
}
