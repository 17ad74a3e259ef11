#include "kstElement.h"

#include "kstTileMapView.h"

#include <QGraphicsScene>

namespace Kestrum {

kstElement::kstElement(QGraphicsItem* parent)
    : QGraphicsItem(parent)
{
}

kstElement::~kstElement() = default;

void kstElement::addToMapView(kstTileMapView* view)
{
    if (!view || m_mapView == view)
        return;
    if (m_mapView)
        removeFromMapView();
    view->scene()->addItem(this);
    m_mapView = view;
}

void kstElement::removeFromMapView()
{
    if (scene())
        scene()->removeItem(this);
    m_mapView = nullptr;
}

int kstElement::category() const
{
    return 0;
}

bool kstElement::allowOverZoomMap() const
{
    return false;
}

bool kstElement::allowOverDragMap() const
{
    return false;
}

} // namespace Kestrum
