#include "kstInfoCommand.h"

#include "kstCommandLine.h"

#include "kstTextCode.h"
#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorShape.h"

#include <QMap>
#include <QTextStream>

#include <ogr_core.h>
#include <ogr_feature.h>

using namespace Kestrum;

namespace {

QString extentText(const GCP& lt, const GCP& rb)
{
    if (lt.lon() > rb.lon())
        return QStringLiteral("empty");
    return QStringLiteral("lon %1 .. %2, lat %3 .. %4")
        .arg(lt.lon(), 0, 'f', 6).arg(rb.lon(), 0, 'f', 6).arg(rb.lat(), 0, 'f', 6).arg(lt.lat(), 0, 'f', 6);
}

void describeLayer(int index, const kstVectorLayer& layer, QTextStream& out)
{
    QString kinds;
    const int shapes = kstCommandLine::countShapes(layer, kinds);
    GCP lt, rb;
    layer.getLayerExtent(lt, rb);
    out << "layer " << index << ": \"" << layer.m_name << "\"\n";
    out << "  geometry type: " << OGRGeometryTypeToName(layer.getType()) << "\n";
    out << "  collects: " << layer.m_collects.size() << ", shapes: " << shapes << kinds << "\n";
    out << "  character set: " << kstTextCode::charsetString(kstTextCode::CharSet(layer.m_charSet)) << "\n";
    out << "  extent: " << extentText(lt, rb) << "\n";
    out << "  fields: " << layer.m_fieldNames.size() << "\n";
    for (int i = 0; i < layer.m_fieldNames.size(); ++i) {
        const int type = layer.m_fieldTypes.value(i, -1);
        out << "    " << layer.m_fieldNames.at(i) << " ("
            << (type >= 0 && type <= OFTMaxType ? OGRFieldDefn::GetFieldTypeName(OGRFieldType(type)) : "?")
            << ")\n";
    }
}

} // namespace

int kstInfoCommand::run(const QString& file, QTextStream& out, QTextStream& err)
{
    GCP lt, rb;
    QList<kstVectorLayer*> layers;
    if (!kstVectorLayer::getLayersExtent(file, lt, rb) || !kstVectorLayer::loadLayers(layers, file)) {
        err << "kstvector: " << file << " is not a readable layers file\n";
        return 1;
    }
    int collects = 0;
    for (const kstVectorLayer* layer : qAsConst(layers))
        collects += layer->m_collects.size();
    out << file << ": " << layers.size() << " layers, " << collects << " collects\n";
    out << "stored extent: " << extentText(lt, rb) << "\n";
    for (int i = 0; i < layers.size(); ++i)
        describeLayer(i, *layers.at(i), out);
    for (kstVectorLayer* layer : qAsConst(layers))
        kstVectorLayer::destoryLayer(layer);
    return 0;
}
