#pragma once

#include "kstTextCode.h"
#include "kstVectorGlobal.h"

#include <QString>

namespace Kestrum {

// Recognises the code-page texts that GIS tools write into a shapefile's .cpg
// file ("CP936", "GBK", "cp1252", "65001", "utf-8" ...) as one of the library's
// character sets. kstTextCode::shpCPGCharSet knows only the exact strings the
// library writes itself; this class accepts the other common spellings of the
// same code pages: blanks and a byte-order mark around the text, any letter
// case, "-", "_", "." or blanks inside names, an optional "CP", "windows-",
// "MS" or "ANSI" before code-page numbers, the iconv names of the character
// sets, the Windows code-page numbers of the display names and the Latin-n
// aliases of the ISO 8859 sets.
class KSTVECTOR_EXPORT kstCodePage
{
public:
    kstCodePage() = delete;

    // The character set the text names; static_cast<CharSet>(-1) when it names
    // none the library can convert.
    static kstTextCode::CharSet charSet(const QString& text);
};

} // namespace Kestrum
