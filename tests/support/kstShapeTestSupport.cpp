#include "kstShapeTestSupport.h"

#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QGraphicsScene>
#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <QtTest>

namespace Kestrum {

ShapeTestScene::ShapeTestScene(const GCP& center, int level, kstVectorEditLayer* layer)
    : m_view(new kstTileMapView)
    , m_layer(layer ? layer : new kstVectorEditLayer)
{
    m_view->resize(800, 600);
    m_view->show();
    if (!QTest::qWaitForWindowExposed(m_view))
        qWarning("map view was not exposed");
    m_view->panAndZoom(center, level);
    m_layer->addToMapView(m_view);
}

ShapeTestScene::~ShapeTestScene()
{
    m_layer->removeFromMapView();
    delete m_layer; // deletes the shapes, its child items
    delete m_view;
}

kstMeterPerPixle__ ShapeTestScene::mpp() const
{
    return m_view->resolution()->mpp(m_view->level());
}

kstProjection* ShapeTestScene::projection() const
{
    return m_view->projection();
}

void ShapeTestScene::attach(kstVectorShape* shape)
{
    shape->setParentLayer(m_layer);
    shape->updateShape(mpp(), projection(), true);
}

void ShapeTestScene::zoomTo(int level)
{
    m_view->panAndZoom(m_view->currentCenterGcp(), level);
}

QImage ShapeTestScene::render(kstVectorShape* shape, const QSize& size, const QPointF& origin)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.translate(origin);
    QStyleOptionGraphicsItem option;
    shape->paint(&painter, &option, nullptr);
    return image;
}

void ShapeTestScene::select(kstVectorShape* shape, bool selected)
{
    shape->setShapeSelected(selected);
}

bool near(const QPointF& a, const QPointF& b, double tolerance)
{
    return qAbs(a.x() - b.x()) <= tolerance && qAbs(a.y() - b.y()) <= tolerance;
}

bool isHandlePixel(const QImage& image, const QPoint& pixel, const kstVectorShape* shape, const QColor& color)
{
    const QColor got = image.pixelColor(pixel);
    return got.alpha() == (shape->scene()->hasFocus() ? 255 : 204) && qAbs(got.red() - color.red()) <= 2
        && qAbs(got.green() - color.green()) <= 2 && qAbs(got.blue() - color.blue()) <= 2;
}

QList<kstVectorShape*> shapesOf(const kstVectorLayer* layer)
{
    QList<kstVectorShape*> shapes;
    for (const kstVectorCollect* collect : layer->m_collects)
        shapes += collect->m_shapes;
    return shapes;
}

} // namespace Kestrum
