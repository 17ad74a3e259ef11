#include "kstVectorCollect.h"

#include "kstExtentBox.h"
#include "kstVectorShape.h"

namespace Kestrum {

kstVectorCollect::~kstVectorCollect() = default;

kstVectorCollect* kstVectorCollect::newCollect()
{
    return new kstVectorCollect;
}

void kstVectorCollect::deleteCollect(kstVectorCollect* collect)
{
    delete collect;
}

void kstVectorCollect::destroyCollect(kstVectorCollect* collect)
{
    if (!collect)
        return;
    qDeleteAll(collect->m_shapes);
    delete collect;
}

kstVectorCollect* kstVectorCollect::clone()
{
    return clone(m_shapes);
}

kstVectorCollect* kstVectorCollect::clone(const QList<kstVectorShape*>& shapes)
{
    kstVectorCollect* copy = new kstVectorCollect(*this);
    copy->m_shapes.clear();
    for (int i = 0; i < shapes.size(); ++i) {
        kstVectorShape* shape = shapes.at(i)->clone();
        shape->setShapeCollect(copy, i);
        copy->m_shapes.append(shape);
    }
    return copy;
}

void kstVectorCollect::getCollectExtent(kstGeographicalCoordinatesPoint& lt, kstGeographicalCoordinatesPoint& rb) const
{
    kstExtentBox::of(m_shapes, lt, rb, [](const kstVectorShape* s, GCP& a, GCP& b) { s->getShapeExtent(a, b); });
}

void kstVectorCollect::getCollectsExtent(const QList<kstVectorCollect*>& collects,
                                         kstGeographicalCoordinatesPoint& lt, kstGeographicalCoordinatesPoint& rb)
{
    kstExtentBox::of(collects, lt, rb, [](const kstVectorCollect* c, GCP& a, GCP& b) { c->getCollectExtent(a, b); });
}

} // namespace Kestrum
