#pragma once

#include <QList>
#include <QStringList>

class GDALDataset;
class QTextStream;
class kstProgressBar;

namespace Kestrum {
class kstVectorLayer;
}

// `kstvector import FILE [--layers i,j] [-o OUT]`: reads layers of a GIS
// vector file (all of them, or those at the given indices) with the library's
// importer, showing its progress on the terminal, and writes them to a layers
// file (FILE's base name + ".kst" in the current folder unless -o names one).
class kstImportCommand
{
public:
    // `args` are the words after "import". Returns the process exit code:
    // 0 done, 1 the file could not be read or written, 2 bad arguments.
    static int run(const QStringList& args, QTextStream& out, QTextStream& err);
    // Reads the layers at the given indices of an opened data source (which
    // the importer takes over and closes) on the importer's worker, showing
    // its progress; the caller owns the layers. `finished` tells whether the
    // import ran to its end.
    static QList<Kestrum::kstVectorLayer*> importLayers(GDALDataset* dataSource, const QList<int>& indices,
                                                        kstProgressBar& bar, bool* finished);
};
