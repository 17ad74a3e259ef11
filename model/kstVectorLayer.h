#pragma once

#include "kstVectorGlobal.h"

#include "kstGeographicalCoordinatesPoint.h"

#include <QBrush>
#include <QColor>
#include <QFont>
#include <QList>
#include <QMap>
#include <QPen>
#include <QImage>
#include <QPoint>
#include <QString>

#include <ogr_core.h>

namespace Kestrum {

class kstVectorCollect;

// A named set of collects keyed by fid, with the attribute schema, the
// spatial reference text and the display style of its shapes. A layer does
// not own its collects by itself: only destoryLayer deletes them.
class KSTVECTOR_EXPORT kstVectorLayer
{
public:
    // Magic number that starts a layers file.
    static const unsigned long long magicNum_;

    kstVectorLayer();
    kstVectorLayer(const kstVectorLayer&) = default;
    kstVectorLayer& operator=(const kstVectorLayer&) = default;
    virtual ~kstVectorLayer();

    static kstVectorLayer* newLayer();
    // Deletes the layer alone; its collects and shapes stay alive.
    static void deleteLayer(kstVectorLayer* layer);
    // Deletes the layer with its collects and their shapes.
    static void destoryLayer(kstVectorLayer* layer);

    kstVectorLayer* clone();
    unsigned long long genFid() const;
    OGRwkbGeometryType getType() const;

    void getLayerExtent(kstGeographicalCoordinatesPoint& lt, kstGeographicalCoordinatesPoint& rb) const;
    static bool getLayersExtent(const QList<kstVectorLayer*>& layers,
                                kstGeographicalCoordinatesPoint& lt, kstGeographicalCoordinatesPoint& rb);

    // The layers file. Saving replaces the previous file only once the new
    // one is completely written. Loading replaces the list's contents by new
    // layers the caller owns; a damaged file loads what precedes the damage.
    // The extent of a file is read from its header alone.
    static bool saveLayers(const QList<kstVectorLayer*>& layers, const QString& file);
    static bool loadLayers(QList<kstVectorLayer*>& layers, const QString& file);
    static bool getLayersExtent(const QString& file, kstGeographicalCoordinatesPoint& lt,
                                kstGeographicalCoordinatesPoint& rb);

    QString m_name;
    QString m_srsWkt;
    QList<QString> m_fieldNames;
    QList<int> m_fieldTypes;
    QMap<quint64, kstVectorCollect*> m_collects;
    int m_pointType = 0;
    int m_pointSize = 8;
    QPen m_pointBorderPen;
    QBrush m_pointFillBrush;
    QImage m_markerIcon; // an image, so that importers can make layers on their worker thread
    QPoint m_markerAnchor;
    QPen m_linePen;
    QPen m_polygonBorderPen;
    QBrush m_polygonFillBrush;
    QFont m_labelFont;
    QColor m_labelTextClr;
    QColor m_labelOutlineClr;
    bool m_antiAliasing = true;
    bool m_showLabels = true;
    int m_charSet = 23; // kstTextCode::UTF_8
    int m_labelMode = 0;
    QString m_labelField;
};

} // namespace Kestrum
