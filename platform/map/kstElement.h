#pragma once

#include "kstMapGlobal.h"

#include <QGraphicsItem>

namespace Kestrum {

class kstTileMapView;

// Base of everything the host places on its map view: a graphics item that
// knows the view it was added to.
class KSTMAP_EXPORT kstElement : public QGraphicsItem
{
public:
    explicit kstElement(QGraphicsItem* parent = nullptr);
    ~kstElement() override;

    // Adds the item to the view's scene and remembers the view.
    virtual void addToMapView(kstTileMapView* view);
    // Takes the item out of the view's scene; the item itself lives on.
    virtual void removeFromMapView();

    kstTileMapView* mapView() const { return m_mapView; }

    virtual int category() const;
    virtual bool allowOverZoomMap() const;
    virtual bool allowOverDragMap() const;

private:
    kstTileMapView* m_mapView = nullptr;
};

} // namespace Kestrum
