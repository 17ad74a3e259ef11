#pragma once

#include <QList>
#include <QString>
#include <QTextStream>

class GDALDataset;

namespace Kestrum {
class kstVectorLayer;
}

// What several commands of the command-line tool read from their arguments.
namespace kstCommandLine {

// Appends the indices of a "--layers i,j" value; on a part that is no
// index, returns false with that part in `bad`.
bool layerIndices(const QString& value, QList<int>& indices, QString& bad);

// Opens a vector file with GDAL; null, with the reason written to `err`,
// when it is none.
GDALDataset* openVectorFile(const QString& path, QTextStream& err);

// The number of shapes of a layer, and " (n point, m polygon)" naming how
// many of each kind it holds (empty for none).
int countShapes(const Kestrum::kstVectorLayer& layer, QString& kinds);

} // namespace kstCommandLine
