#pragma once

#include "kstTextCode.h"
#include "kstVectorGlobal.h"

#include <QString>

class OGRLayer;

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

    // True when the layer's text attributes hold non-ASCII text and all of it
    // is well-formed UTF-8. Multi-byte GBK text is almost never valid UTF-8,
    // so this tells the two apart in files that do not say which they hold.
    // Looks at the first features only and rewinds the layer.
    static bool holdsUtf8Text(OGRLayer* layer);
};

} // namespace Kestrum
