#pragma once

#include "kstTextCode.h"

#include <QList>
#include <QStringList>

class QTextStream;

namespace Kestrum {
class kstVectorLayer;
}

// `kstvector export LAYERSFILE --format NAME -o OUT [--charset NAME] [--layers i,j]`:
// writes the layers of a layers file (all, or those at the given indices) to
// a GIS vector file with the library's exporter, showing its progress on the
// terminal; Ctrl-C stops the export and keeps what was written.
// `kstvector formats` lists the format names.
class kstExportCommand
{
public:
    // `args` are the words after "export". Returns the process exit code:
    // 0 done, 1 the file could not be read or written, 2 bad arguments,
    // 130 stopped by Ctrl-C.
    static int run(const QStringList& args, QTextStream& out, QTextStream& err);
    static int formats(QTextStream& out);

    // The exporter type of a format name (as the factory names it, any case);
    // -1 when there is none.
    static int formatType(const QString& name);
    // The character set of an iconv name ("GBK", "utf-8" ...), any case.
    static bool charsetOf(const QString& name, Kestrum::kstTextCode::CharSet& charset);
    // Writes the layers to output; the exit code as for run.
    static int exportLayers(const QList<Kestrum::kstVectorLayer*>& layers, int type, const QString& output,
                            Kestrum::kstTextCode::CharSet charset, QTextStream& out, QTextStream& err);
};
