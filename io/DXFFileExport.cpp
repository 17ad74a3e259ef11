#include "DXFFileExport.h"

#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorShape.h"

#include <QDebug>
#include <QFile>

#include <cpl_conv.h>
#include <gdal_priv.h>
#include <ogr_spatialref.h>
#include <ogrsf_frmts.h>

#include <memory>

namespace Kestrum {

namespace {

struct OptionsDestroyer
{
    void operator()(char** list) const { CSLDestroy(list); }
};

struct FeatureDestroyer
{
    void operator()(OGRFeature* feature) const { OGRFeature::DestroyFeature(feature); }
};

void createStringField(OGRLayer* ogrLayer, const char* name, const char* failure)
{
    OGRFieldDefn definition(name, OFTString);
    if (ogrLayer->CreateField(&definition, TRUE) != OGRERR_NONE)
        qDebug().noquote() << QString::fromUtf8(failure) + QString::fromUtf8(CPLGetLastErrorMsg());
}

} // namespace

DXFFileExport::DXFFileExport(QObject* parent)
    : kstVectorFileExport(parent)
{
    m_driverName = QStringLiteral("DXF");
    m_pointSymbols = false;
}

OGRLayer* DXFFileExport::getLayer(kstVectorLayer* layer)
{
    if (m_dataSource->GetLayerCount() > 0)
        return m_dataSource->GetLayer(0);
    const std::unique_ptr<char*, OptionsDestroyer> options(optionList(m_layerCreateOption));
    OGRLayer* ogrLayer =
        m_dataSource->CreateLayer(layer->m_name.toUtf8().constData(), m_spatialRef, wkbUnknown, options.get());
    if (!ogrLayer) {
        debugGdalError("ogrDataDest CreateLayer Failed:");
        return nullptr;
    }
    createStringField(ogrLayer, "Layer", "ogrFieldDefn_Layer CreateField failed:");
    createStringField(ogrLayer, "Text", "ogrFieldDefn_Text CreateField failed:");
    return ogrLayer;
}

void DXFFileExport::setFeatureFields(kstVectorCollect* collect, OGRFeature* feature)
{
    if (collect->m_layer)
        feature->SetField("Layer", collect->m_layer->m_name.toUtf8().constData());
    feature->SetField("Text", collect->m_text.toUtf8().constData());
}

void DXFFileExport::setFeatureStyles(kstVectorCollect* collect, OGRFeature* feature, OGRLayer* ogrLayer,
                                     OGRStyleTable*)
{
    if (collect->m_shapes.isEmpty() || setDirectStyle(collect, feature, kstVectorShape::Color_RGBA))
        return;
    if (collect->m_text.isEmpty())
        return;
    // The text of a point is a label entity at the same place.
    const double size = m_groundSize.isValid() ? qMax(m_groundSize.width(), m_groundSize.height()) / 1000.0 : 1.0;
    const QString style =
        QStringLiteral("LABEL(f:\"simplex\", s:%1g, t:\"%2\")").arg(QString::number(size, 'g', 6), collect->m_text);
    const std::unique_ptr<OGRFeature, FeatureDestroyer> label(feature->Clone());
    if (!label)
        return;
    label->SetField("Layer", "Label");
    label->SetField("Text", collect->m_text.toUtf8().constData());
    label->SetStyleString(style.toUtf8().constData());
    if (ogrLayer->CreateFeature(label.get()) != OGRERR_NONE)
        debugGdalError("CreateFeature failed:");
}

void DXFFileExport::genProjectionFile()
{
    QFile file(m_exportPath.left(m_exportPath.size() - 4) + QStringLiteral(".prj"));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        qDebug().noquote() << QStringLiteral("dxf proj file open failed:") + file.errorString();
        return;
    }
    if (!m_spatialRef)
        return;
    char* wkt = nullptr;
    if (m_spatialRef->exportToWkt(&wkt) == OGRERR_NONE && wkt) {
        file.write(wkt);
    } else {
        debugGdalError("dxf srs exportToWkt failed");
    }
    VSIFree(wkt);
}

} // namespace Kestrum
