#pragma once

#include "kstVectorGlobal.h"

#include <QString>

namespace Kestrum {

class kstVectorFileExport;

// Creates the exporter of a GIS format and names the formats for the user.
class KSTVECTOR_EXPORT VectorFileExportFactory
{
public:
    enum Export_Type {
        Export_SHP = 0,
        Export_KML = 1,
        Export_DXF = 2,
        Export_GeoJSON = 3,
        Export_GPX = 4,
        Export_TAB = 5,
        Export_MIF = 6,
        Export_SQLite = 7,
        Export_GeoPackage = 8
    };

    VectorFileExportFactory() = delete;

    // A new exporter without parent, owned by the caller; null for a value
    // outside the enumeration.
    static kstVectorFileExport* create(Export_Type type);
    // The display name of a format; empty for a value outside the enumeration.
    static QString formatString(Export_Type type);
};

} // namespace Kestrum
