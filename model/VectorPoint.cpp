#include "VectorPoint.h"

#include "kstCorrection.h"
#include "kstVectorStyle.h"

#include <QBuffer>
#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QPainter>
#include <QUuid>

#include <algorithm>

namespace Kestrum {

namespace {

QByteArray bmpBytes(const QPixmap& pixmap)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    pixmap.save(&buffer, "BMP");
    return bytes;
}

// Symbol files are shared by every point whose picture looks the same.
bool samePicture(const QPixmap& a, const QPixmap& b)
{
    return a.width() == b.width() && a.height() == b.height() && a.depth() == b.depth() && a.rect() == b.rect()
        && bmpBytes(a) == bmpBytes(b);
}

// File name of a picture in the symbol folder equal to the symbol, or empty.
QString findSymbolFile(const QString& folder, const QPixmap& symbol)
{
    const QStringList files = QDir(folder).entryList({QStringLiteral("*.png")}, QDir::Files, QDir::Unsorted);
    for (const QString& file : files) {
        QPixmap candidate;
        if (candidate.load(folder + QLatin1Char('/') + file, "PNG") && samePicture(candidate, symbol))
            return file;
    }
    return QString();
}

// Writes the symbol under a fresh name; the name is returned even when the
// write fails, so the style still says which picture was meant.
QString saveSymbolFile(const QString& folder, const QPixmap& symbol)
{
    const QString file = QStringLiteral("point_symbol_%1.png").arg(QUuid::createUuid().toString());
    const QString filePath = folder + QLatin1Char('/') + file;
    if (!symbol.save(filePath, "PNG"))
        qDebug().noquote() << "sybPixmapPath save failed:" << filePath;
    return file;
}

// Painted as it is stored, so that drawing converts nothing.
QImage paintableImage(const QImage& image)
{
    return image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

int boundedPointSize(int size)
{
    return std::clamp(size, 0, VectorPoint::kMaxPointSize);
}

// One picture shared by all points with the default marker.
const QImage& defaultMarker()
{
    static const QImage marker = paintableImage(kstVectorStyle::markerIcon_default);
    return marker;
}

} // namespace

VectorPoint::VectorPoint(const QPointF& geo, kstVectorEditLayer* layer)
    : kstVectorShape(layer)
    , m_geoData(geo)
    , m_pointSize(int(kstVectorStyle::pointSize_default))
    , m_pointBorderPen(kstVectorStyle::pointBorderPen_default)
    , m_pointFillBrush(kstVectorStyle::pointFillBrush_default)
    , m_markerIcon(defaultMarker())
    , m_markerAnchor(kstVectorStyle::markerAnchor_default)
{
    m_shapeType = Type_Point;
}

// --- Style ---------------------------------------------------------------

void VectorPoint::setPointType(int type)
{
    m_pointType = type;
}

void VectorPoint::setPointSize(int size)
{
    size = boundedPointSize(size);
    if (size == m_pointSize)
        return;
    m_pointSize = size;
    // The point's bounds depend on its style alone, not on the map.
    updateBoundingRect(kstMeterPerPixle__(), nullptr);
    updateShapePath();
}

void VectorPoint::setPointBorderPen(const QPen& pen)
{
    if (pen != m_pointBorderPen)
        m_pointBorderPen = pen;
}

void VectorPoint::setPointFillBrush(const QBrush& brush)
{
    if (brush != m_pointFillBrush)
        m_pointFillBrush = brush;
}

void VectorPoint::setMarkerIcon(const QPixmap& icon)
{
    setMarkerImage(icon.toImage());
}

void VectorPoint::setMarkerImage(const QImage& image)
{
    m_markerIcon = paintableImage(image);
    updateBoundingRect(kstMeterPerPixle__(), nullptr);
    updateShapePath();
}

void VectorPoint::setPointStyleDirect(int size, const QPen& pen, const QBrush& brush)
{
    m_pointSize = boundedPointSize(size);
    m_pointBorderPen = pen;
    m_pointFillBrush = brush;
}

void VectorPoint::setMarkerStyleDirect(int, const QPixmap& icon, const QPoint& anchor)
{
    m_markerAnchor = anchor;
    m_markerIcon = paintableImage(icon.toImage());
}

QPixmap VectorPoint::symbolPixmap() const
{
    if (m_pointType != 0)
        return QPixmap::fromImage(m_markerIcon);
    // The circle with room for its outline.
    const int side = m_pointBorderPen.width() + m_pointSize;
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setPen(m_pointBorderPen);
    painter.setBrush(m_pointFillBrush);
    painter.drawEllipse(QPoint(side / 2, side / 2), m_pointSize / 2, m_pointSize / 2);
    return pixmap;
}

QPoint VectorPoint::symbolAnchor() const
{
    if (m_pointType != 0)
        return m_markerAnchor;
    const int side = m_pointBorderPen.width() + m_pointSize;
    return QPoint(side / 2, side / 2);
}

// --- Update steps --------------------------------------------------------

void VectorPoint::correctInShape(kstCorrection* correction)
{
    m_geoData = gcp2pt(correction->correctIn(pt2gcp(m_geoData)));
}

void VectorPoint::correctOutShape(kstCorrection* correction)
{
    m_geoData = gcp2pt(correction->correctOut(pt2gcp(m_geoData)));
}

bool VectorPoint::updateExtent()
{
    m_ltGcp = pt2gcp(m_geoData);
    m_rbGcp = m_ltGcp;
    return true;
}

void VectorPoint::updateBoundingRect(const kstMeterPerPixle__&, kstProjection*)
{
    prepareGeometryChange();
    if (m_pointType != 0) // the anchor pixel of the marker lies on the item origin
        m_brc = QRectF(QPointF(-m_markerAnchor.x(), -m_markerAnchor.y()), QSizeF(m_markerIcon.size()));
    else
        m_brc = QRectF(-m_pointSize * 0.5, -m_pointSize * 0.5, m_pointSize, m_pointSize);
    notifyRectChange();
}

void VectorPoint::updatePixsData(const kstMeterPerPixle__&, kstProjection*)
{
    m_pixData = QPointF(0, 0);
}

void VectorPoint::updateLabels()
{
    QString text;
    QSizeF size;
    if (!labelText(text, size))
        return;
    // Below, right, left, above: the edit layer takes the first that fits.
    const QRectF b = m_brc;
    const double w = size.width();
    const double h = size.height();
    const double centredLeft = b.x() - (w - b.width()) * 0.5;
    const double centredTop = b.y() - (h - b.height()) * 0.5;
    const QPointF topLefts[] = {{centredLeft, b.y() + b.height() + 1},
                                {b.x() + b.width() + 1, centredTop},
                                {b.x() - w - 1, centredTop},
                                {centredLeft, b.y() - h - 1}};
    for (const QPointF& topLeft : topLefts)
        m_labels.append({text, 0.0, QRectF(int(topLeft.x()), int(topLeft.y()), w, h)});
}

void VectorPoint::updateShapePath()
{
    m_shapePath = QPainterPath();
    m_shapePath.addRect(m_brc);
}

void VectorPoint::updateAddVertexPath()
{
    // A point has no edge to insert into.
    m_addVertexPath = QPainterPath();
}

// --- Painting ------------------------------------------------------------

void VectorPoint::drawShape(QPainter* painter)
{
    painter->setRenderHint(QPainter::Antialiasing, antiAliasiing());
    if (m_pointType != 0) {
        painter->drawImage(m_brc.topLeft(), m_markerIcon);
        return;
    }
    painter->setPen(m_pointBorderPen);
    painter->setBrush(m_pointFillBrush);
    painter->drawEllipse(m_brc);
}

void VectorPoint::drawShapeVertex(QPainter* painter)
{
    drawVertexHandle(painter, m_pixData, m_vertexClr2);
}

QImage VectorPoint::icon()
{
    QImage image = iconCanvas();
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing, true);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    const int side = m_shapeIconSize;
    if (m_pointType == 0) {
        const int radius = std::min(side / 2, m_pointSize / 2);
        painter.setPen(m_pointBorderPen);
        painter.setBrush(m_pointFillBrush);
        painter.drawEllipse(QPointF(side * 0.5, side * 0.5), radius, radius);
    } else if (m_pointType == 1) {
        painter.drawImage(QRect(0, 0, side, side), m_markerIcon);
    }
    return image;
}

// --- Editing -------------------------------------------------------------

void VectorPoint::moveShapeTo(const kstGeographicalCoordinatesPoint& gcp)
{
    m_geoData = gcp2pt(gcp);
    resetShape(curMpp(), curProj());
}

void VectorPoint::moveShapeBy(double dx, double dy)
{
    m_geoData = movedByPix(m_geoData, dx, dy);
    resetShape(curMpp(), curProj());
}

void VectorPoint::moveVertexTo(int index, const kstGeographicalCoordinatesPoint& gcp)
{
    if (index == 0)
        moveShapeTo(gcp);
}

void VectorPoint::moveVertexBy(int index, double dx, double dy)
{
    if (index == 0)
        moveShapeBy(dx, dy);
}

void VectorPoint::insertVertex(int, const kstGeographicalCoordinatesPoint&)
{
}

bool VectorPoint::removeVertex(int)
{
    // A point without its vertex is no point: the caller removes the shape.
    return true;
}

int VectorPoint::vertexHoverIndex(const QPointF&)
{
    // A point is dragged as a whole, never by its handle.
    return -1;
}

int VectorPoint::vertexInsertIndex(const QPointF&)
{
    return -1;
}

kstGeographicalCoordinatesPoint VectorPoint::vertex(int)
{
    return pt2gcp(m_geoData);
}

QList<kstGeographicalCoordinatesPoint> VectorPoint::vertexs()
{
    return {pt2gcp(m_geoData)};
}

int VectorPoint::vertexCount() const
{
    return 1;
}

double VectorPoint::area()
{
    return 0.0;
}

double VectorPoint::perimeter()
{
    return 0.0;
}

void VectorPoint::fit(const FourParamter__& parameters)
{
    m_geoData = fitPoints({m_geoData}, parameters).value(0, m_geoData);
    updateShape(curMpp(), curProj(), true);
}

// --- Export --------------------------------------------------------------

OGRPoint VectorPoint::toOGR()
{
    const QPointF out = correctedOut({m_geoData}).first();
    OGRPoint point(out.x(), out.y());
    OGRSpatialReference* wgs84 = newWgs84Srs();
    point.assignSpatialReference(wgs84);
    wgs84->Release(); // the point holds its own reference
    return point;
}

OGRGeometry* VectorPoint::toOGRGeometry()
{
    return new OGRPoint(toOGR());
}

OGRGeometry* VectorPoint::toOGRGeometry(OGRSpatialReference* srs)
{
    if (!srs || srs->IsSame(&m_wgs84Srs))
        return toOGRGeometry();
    QVector<QPointF> points = correctedOut({m_geoData});
    if (!transformPoints(points, srs))
        return nullptr;
    auto* point = new OGRPoint(points.first().x(), points.first().y());
    point->assignSpatialReference(srs);
    return point;
}

QString VectorPoint::styleString(const QString& path, Color_Mode)
{
    const QFileInfo info(path);
    const QString name = info.fileName();
    const QString dir = info.isDir() ? path : info.absolutePath();
    // Pictures live beside the data source, in a folder named after it.
    const QString folder = QStringLiteral("%1/%2_ext_file").arg(dir, name);
    if (!QDir(folder).exists() && !QDir().mkdir(folder))
        qDebug().noquote() << "QDir::mkdir failed!";

    const QPixmap symbol = symbolPixmap();
    QString file = findSymbolFile(folder, symbol);
    if (file.isEmpty())
        file = saveSymbolFile(folder, symbol);
    // The symbol's anchor pixel is its offset from the point.
    const QPoint offset = symbolAnchor();
    return QStringLiteral("SYMBOL(id:\"%1_ext_file/%2\",s:1,dx:%3px,dy:%4px)")
        .arg(name, file, QString::number(offset.x()), QString::number(offset.y()));
}

kstVectorShape* VectorPoint::clone()
{
    auto* point = new VectorPoint(m_geoData, nullptr);
    point->setPointType(m_pointType);
    point->setPointSize(m_pointSize);
    point->setPointBorderPen(m_pointBorderPen);
    point->setPointFillBrush(m_pointFillBrush);
    point->setMarkerAnchor(m_markerAnchor);
    point->setMarkerImage(m_markerIcon);
    return point;
}

} // namespace Kestrum
