#pragma once

// Layers built for the tests: collects added as an application adds them, and
// a layer that uses every field the layers file stores and every shape kind
// (for the layers file tests and the fuzzer's seed).

#include "VectorCircle.h"
#include "VectorLine.h"
#include "VectorPoint.h"
#include "VectorPolygon.h"
#include "VectorRect.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QDateTime>
#include <QRadialGradient>

#include <cmath>

namespace Kestrum {

// A new collect of the layer, with the next free fid, holding the shapes in order.
inline kstVectorCollect* addCollect(kstVectorLayer* layer, const QList<kstVectorShape*>& shapes, int geometryType = 0)
{
    kstVectorCollect* collect = kstVectorCollect::newCollect();
    collect->m_layer = layer;
    collect->m_fid = layer->genFid();
    collect->m_geometryType = geometryType;
    collect->m_shapes = shapes;
    for (int i = 0; i < shapes.size(); ++i)
        shapes.at(i)->setShapeCollect(collect, i);
    layer->m_collects.insert(collect->m_fid, collect);
    return collect;
}

// Appends a shape to the collect `fid` of the layer, made when missing.
inline void addShape(kstVectorLayer* layer, quint64 fid, kstVectorShape* shape, int type)
{
    kstVectorCollect* collect = layer->m_collects.value(fid);
    if (!collect) {
        collect = kstVectorCollect::newCollect();
        collect->m_layer = layer;
        collect->m_fid = fid;
        collect->m_geometryType = type;
        layer->m_collects.insert(fid, collect);
    }
    shape->setShapeCollect(collect, collect->m_shapes.size());
    shape->updateExtent();
    collect->m_shapes.append(shape);
}

// A layer that uses every stored field and every shape kind.
inline kstVectorLayer* fullLayer()
{
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    layer->m_name = QStringLiteral("省界 Провинции");
    layer->m_srsWkt = QStringLiteral("GEOGCS[\"WGS 84\"]");
    layer->m_fieldNames = {QStringLiteral("名称"), QStringLiteral("pop"), QStringLiteral("when")};
    layer->m_fieldTypes = {4, 12, 11};
    layer->m_pointType = 1;
    layer->m_pointSize = 11;
    layer->m_pointBorderPen = QPen(QColor(1, 2, 3, 4), 2.5, Qt::DashDotLine, Qt::RoundCap, Qt::MiterJoin);
    layer->m_pointFillBrush = QBrush(QColor(9, 8, 7), Qt::CrossPattern);
    layer->m_markerAnchor = QPoint(5, 6);
    QPixmap marker(3, 2);
    marker.fill(Qt::magenta);
    layer->m_markerIcon = marker.toImage();
    layer->m_linePen = QPen(Qt::darkGreen, 4);
    layer->m_linePen.setDashPattern({3, 2, 1, 2});
    layer->m_polygonBorderPen = QPen(Qt::darkRed, 1);
    layer->m_polygonFillBrush = QBrush(Qt::cyan);
    layer->m_labelFont = QFont(QStringLiteral("Serif"), 13);
    layer->m_labelTextClr = Qt::yellow;
    layer->m_labelOutlineClr = Qt::darkBlue;
    layer->m_antiAliasing = false;
    layer->m_showLabels = false;
    layer->m_charSet = 18;
    layer->m_labelMode = 2;
    layer->m_labelField = QStringLiteral("名称");

    VectorPoint* point = new VectorPoint(QPointF(116.4, 39.9), nullptr);
    point->setPointType(1);
    point->setPointStyleDirect(12, QPen(Qt::blue, 3), QBrush(Qt::green));
    addShape(layer, 7, point, 1);
    layer->m_collects[7]->m_text = QStringLiteral("北京");
    layer->m_collects[7]->m_fields = {{QStringLiteral("名称"), QStringLiteral("北京市")},
                                      {QStringLiteral("pop"), qlonglong(21893095)},
                                      {QStringLiteral("area"), 16410.54},
                                      {QStringLiteral("when"), QDateTime(QDate(2020, 11, 1), QTime(0, 0), Qt::UTC)},
                                      {QStringLiteral("tags"), QStringList{QStringLiteral("capital"), QStringLiteral("都")}},
                                      {QStringLiteral("ok"), true}};
    VectorLine* line = new VectorLine({QPointF(1, 2), QPointF(3, 4), QPointF(5, 1)}, nullptr);
    line->setShapeVisible(false);
    addShape(layer, 7, line, 1);
    Polygon__ polygon;
    polygon.outer << QPointF(0, 0) << QPointF(10, 0) << QPointF(10, 10) << QPointF(0, 10);
    polygon.inner << (QPolygonF() << QPointF(2, 2) << QPointF(4, 2) << QPointF(3, 4));
    VectorPolygon* area = new VectorPolygon(polygon, nullptr);
    QRadialGradient radial(1, 2, 3);
    radial.setColorAt(0, Qt::red);
    radial.setColorAt(1, Qt::blue);
    area->setStyleDirect(QPen(Qt::black), QBrush(radial));
    addShape(layer, 2, area, 3);
    VectorRect* rect = new VectorRect(QPolygonF() << QPointF(20, 10) << QPointF(22, 10) << QPointF(22, 8)
                                                  << QPointF(20, 8), nullptr);
    rect->setStyleDirect(QPen(Qt::black), QBrush(marker));
    addShape(layer, 3, rect, 3);
    Circle__ circle;
    circle.center = QPointF(30, 30);
    for (int k = 0; k < 8; ++k)
        circle.ring << QPointF(30 + std::cos(k * M_PI / 4), 30 + std::sin(k * M_PI / 4));
    addShape(layer, 4, new VectorCircle(circle, nullptr), 3);
    return layer;
}

} // namespace Kestrum
