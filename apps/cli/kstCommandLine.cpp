#include "kstCommandLine.h"

#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorShape.h"

#include <QMap>
#include <QStringList>

#include <gdal_priv.h>

using namespace Kestrum;

namespace {

QString kindName(int type)
{
    switch (type) {
    case kstVectorShape::Type_Point: return QStringLiteral("point");
    case kstVectorShape::Type_Line: return QStringLiteral("line");
    case kstVectorShape::Type_Polygon: return QStringLiteral("polygon");
    case kstVectorShape::Type_Rect: return QStringLiteral("rectangle");
    case kstVectorShape::Type_Circle: return QStringLiteral("circle");
    default: return QStringLiteral("unknown");
    }
}

} // namespace

bool kstCommandLine::layerIndices(const QString& value, QList<int>& indices, QString& bad)
{
    for (const QString& part : value.split(QLatin1Char(','))) {
        bool ok = false;
        const int index = part.trimmed().toInt(&ok);
        if (!ok || index < 0) {
            bad = part;
            return false;
        }
        indices.append(index);
    }
    return true;
}

GDALDataset* kstCommandLine::openVectorFile(const QString& path, QTextStream& err)
{
    GDALAllRegister();
    GDALDataset* dataSource =
        GDALDataset::FromHandle(GDALOpenEx(path.toUtf8().constData(), GDAL_OF_VECTOR, nullptr, nullptr, nullptr));
    if (!dataSource) {
        const QString why = QString::fromUtf8(CPLGetLastErrorMsg());
        err << "kstvector: " << path << " is not a readable vector file" << (why.isEmpty() ? QString() : ": " + why)
            << "\n";
    }
    return dataSource;
}

int kstCommandLine::countShapes(const kstVectorLayer& layer, QString& kinds)
{
    QMap<QString, int> byKind;
    int shapes = 0;
    for (const kstVectorCollect* collect : layer.m_collects) {
        for (const kstVectorShape* shape : collect->m_shapes) {
            ++byKind[kindName(shape->shapeType())];
            ++shapes;
        }
    }
    QStringList parts;
    for (auto it = byKind.cbegin(); it != byKind.cend(); ++it)
        parts << QStringLiteral("%1 %2").arg(it.value()).arg(it.key());
    kinds = parts.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(parts.join(QStringLiteral(", ")));
    return shapes;
}
