#pragma once

#include <QString>

class QTextStream;

// `kstvector info FILE`: describes a layers file: its layers with their
// fields, collect counts, shape kinds and the stored extent.
class kstInfoCommand
{
public:
    static int run(const QString& file, QTextStream& out, QTextStream& err);
};
