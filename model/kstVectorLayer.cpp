#include "kstVectorLayer.h"

#include "kstExtentBox.h"
#include "kstVectorCollect.h"
#include "kstVectorStyle.h"

#include <QApplication>

namespace Kestrum {

const unsigned long long kstVectorLayer::magicNum_ = 0x209EDA1409C13301ull;

kstVectorLayer::kstVectorLayer()
    : m_pointBorderPen(kstVectorStyle::pointBorderPen_default)
    , m_pointFillBrush(kstVectorStyle::pointFillBrush_default)
    , m_markerIcon(kstVectorStyle::markerIcon_default)
    , m_markerAnchor(kstVectorStyle::markerAnchor_default)
    , m_linePen(kstVectorStyle::linePen_default)
    , m_polygonBorderPen(kstVectorStyle::polygonBorderPen_default)
    , m_polygonFillBrush(kstVectorStyle::polygonFillBrush_default)
    , m_labelFont(QApplication::font())
    , m_labelTextClr(kstVectorStyle::labelTextClr_default)
    , m_labelOutlineClr(kstVectorStyle::labelOutlineClr_default)
{
}

kstVectorLayer::~kstVectorLayer() = default;

kstVectorLayer* kstVectorLayer::newLayer()
{
    return new kstVectorLayer;
}

void kstVectorLayer::deleteLayer(kstVectorLayer* layer)
{
    delete layer;
}

void kstVectorLayer::destoryLayer(kstVectorLayer* layer)
{
    if (!layer)
        return;
    for (kstVectorCollect* collect : qAsConst(layer->m_collects))
        kstVectorCollect::destroyCollect(collect);
    delete layer;
}

kstVectorLayer* kstVectorLayer::clone()
{
    kstVectorLayer* copy = new kstVectorLayer(*this);
    copy->m_collects.clear();
    for (kstVectorCollect* collect : qAsConst(m_collects)) {
        kstVectorCollect* c = collect->clone();
        c->m_layer = copy;
        copy->m_collects.insert(c->m_fid, c);
    }
    return copy;
}

unsigned long long kstVectorLayer::genFid() const
{
    // Reserves nothing: the largest fid plus one.
    return m_collects.isEmpty() ? 1 : m_collects.lastKey() + 1;
}

OGRwkbGeometryType kstVectorLayer::getType() const
{
    if (m_collects.isEmpty())
        return wkbUnknown;
    const int type = m_collects.first()->m_geometryType;
    for (const kstVectorCollect* collect : m_collects) {
        if (collect->m_geometryType != type)
            return wkbUnknown;
    }
    return OGRwkbGeometryType(type);
}

void kstVectorLayer::getLayerExtent(kstGeographicalCoordinatesPoint& lt, kstGeographicalCoordinatesPoint& rb) const
{
    kstExtentBox::of(m_collects, lt, rb, [](const kstVectorCollect* c, GCP& a, GCP& b) { c->getCollectExtent(a, b); });
}

bool kstVectorLayer::getLayersExtent(const QList<kstVectorLayer*>& layers,
                                     kstGeographicalCoordinatesPoint& lt, kstGeographicalCoordinatesPoint& rb)
{
    kstExtentBox::of(layers, lt, rb, [](const kstVectorLayer* l, GCP& a, GCP& b) { l->getLayerExtent(a, b); });
    return true;
}

} // namespace Kestrum
