#pragma once

#include "kstVectorGlobal.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace Kestrum {

// Conversion of attribute text between Unicode and the legacy code pages,
// UTF and UCS forms the library reads and writes, plus the code-page strings
// of a shapefile's .cpg companion file.
//
// The class is stateless: every function is static, opens its own converter
// and may be called from any thread. Text inside the library is handled as
// UCS-2LE (the UTF-16 code units of a QString, least significant byte first);
// every conversion to or from QString passes through that form.
//
// Failures and special cases write one line to Qt's debug stream; a failed
// iconv call appends the C library's text for errno directly after the colon,
// e.g. "encode iconv failed:Invalid or incomplete multibyte or wide character".
class KSTVECTOR_EXPORT kstTextCode
{
public:
    // Each enumerator's name is the iconv name of the character set once every
    // "_" is turned into "-" (see charsetString). Valid values are 0 to 30;
    // anything outside that range (shpCPGCharSet yields -1 for an unknown
    // string) is rejected by every function.
    enum CharSet : int {
        ASCII = 0,
        ISO_8859_1,
        ISO_8859_2,
        ISO_8859_3,
        ISO_8859_4,
        ISO_8859_5,
        ISO_8859_7,
        ISO_8859_9,
        ISO_8859_10,
        ISO_8859_13,
        ISO_8859_14,
        ISO_8859_15,
        ISO_8859_16,
        KOI8_R,
        KOI8_RU,
        ISO_8859_6,
        ISO_8859_8,
        SHIFT_JIS,
        GBK,
        BIG5,
        CP949,
        TIS_620,
        VISCII,
        UTF_8,
        UTF_7,
        UCS_2,
        UCS_2BE,
        UCS_2LE,
        UCS_4,
        UCS_4BE,
        UCS_4LE
    };

    kstTextCode() = delete;

    // The 26 character sets offered to the user, in display order.
    static QList<CharSet> availableCharsets();
    // English display names: the 26 entries of availableCharsets() plus
    // "Korean(Johab) [CP1361]" after the CP949 entry (27 entries, the Johab
    // entry has no CharSet value).
    static QStringList availableCharsetStrings_en();
    // Chinese display names, one per entry of availableCharsets() (26).
    static QStringList availableCharsetStrings_cn();

    // The iconv name of cs ("ISO-8859-1", "SHIFT-JIS", "UCS-2LE" ...);
    // empty for an invalid value.
    static QString charsetString(CharSet cs);

    // Bytes in character set cs to text. Empty input gives an empty text and
    // true. On a conversion failure dst holds the text converted before it and
    // false is returned.
    static bool encode(CharSet cs, const QByteArray& baSrc, QString& dst);
    // Text to bytes in character set cs. Characters cs cannot hold are
    // transliterated (usually to '?'). On a conversion failure dst holds the
    // bytes produced before it and false is returned.
    static bool decode(const QString& strSrc, CharSet cs, QByteArray& dst);
    // Bytes from one character set to another. An invalid value or a
    // converter that cannot be opened leaves dst unchanged.
    static bool conv(CharSet from, const QByteArray& src, CharSet to, QByteArray& dst);

    // Whether the processor stores multi-byte integers most significant byte
    // first.
    static bool isBigEndian();

    // The .cpg string of cs; empty for an invalid value. ASCII and KOI8_R
    // share "1251"; TIS_620 is written as "847".
    static QString shpCPGString(CharSet cs);
    // The character set of a .cpg string (exact, case-sensitive match).
    // "UTF-8", "936" and "950" are tried first, then the .cpg strings in
    // enumerator order, so "1251" gives ASCII. Unknown strings give
    // static_cast<CharSet>(-1).
    static CharSet shpCPGCharSet(const QString& cpg);
};

} // namespace Kestrum
