#pragma once

#include <QStringList>

class QTextStream;

// `kstvector convert IN -o OUT --format NAME [--charset NAME]`: imports every
// layer of a GIS vector file with the library's importer and exports them
// to another format in one go, with the progress of both on the terminal.
class kstConvertCommand
{
public:
    // `args` are the words after "convert"; exit codes as for export.
    static int run(const QStringList& args, QTextStream& out, QTextStream& err);
};
