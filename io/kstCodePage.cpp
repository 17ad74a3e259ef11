#include "kstCodePage.h"

#include <QTextCodec>

#include <ogrsf_frmts.h>

#include <algorithm>
#include <memory>

#include <QHash>

namespace Kestrum {

namespace {

constexpr int kCharSetCount = kstTextCode::UCS_4LE + 1;
const kstTextCode::CharSet kNone = static_cast<kstTextCode::CharSet>(-1);

// Upper case without the separators that spellings differ in.
QString squeezed(const QString& text)
{
    QString key;
    key.reserve(text.size());
    for (const QChar c : text) {
        if (c != QLatin1Char('-') && c != QLatin1Char('_') && c != QLatin1Char('.') && !c.isSpace())
            key.append(c.toUpper());
    }
    return key;
}

// Names that are neither an iconv name nor a .cpg string of the library.
const QHash<QString, kstTextCode::CharSet>& nameAliases()
{
    static const QHash<QString, kstTextCode::CharSet> aliases = {
        {QStringLiteral("LATIN1"), kstTextCode::ISO_8859_1},
        {QStringLiteral("LATIN2"), kstTextCode::ISO_8859_2},
        {QStringLiteral("LATIN3"), kstTextCode::ISO_8859_3},
        {QStringLiteral("LATIN4"), kstTextCode::ISO_8859_4},
        {QStringLiteral("LATIN5"), kstTextCode::ISO_8859_9},
        {QStringLiteral("LATIN6"), kstTextCode::ISO_8859_10},
        {QStringLiteral("LATIN7"), kstTextCode::ISO_8859_13},
        {QStringLiteral("LATIN8"), kstTextCode::ISO_8859_14},
        {QStringLiteral("LATIN9"), kstTextCode::ISO_8859_15},
        {QStringLiteral("LATIN10"), kstTextCode::ISO_8859_16},
        // GB 2312 and its EUC form are subsets of GBK.
        {QStringLiteral("GB2312"), kstTextCode::GBK},
        {QStringLiteral("EUCCN"), kstTextCode::GBK},
        {QStringLiteral("SJIS"), kstTextCode::SHIFT_JIS},
        {QStringLiteral("UHC"), kstTextCode::CP949},
    };
    return aliases;
}

// Windows code-page numbers that are not .cpg strings of the library: those
// of the display names, and 1252, whose letters are those of Latin-1.
const QHash<int, kstTextCode::CharSet>& codePageNumbers()
{
    static const QHash<int, kstTextCode::CharSet> numbers = {
        {65001, kstTextCode::UTF_8},
        {1252, kstTextCode::ISO_8859_1},
        {28591, kstTextCode::ISO_8859_1},
        {28592, kstTextCode::ISO_8859_2},
        {28593, kstTextCode::ISO_8859_3},
        {28594, kstTextCode::ISO_8859_4},
        {28595, kstTextCode::ISO_8859_5},
        {28596, kstTextCode::ISO_8859_6},
        {28597, kstTextCode::ISO_8859_7},
        {28598, kstTextCode::ISO_8859_8},
        {28599, kstTextCode::ISO_8859_9},
        {28600, kstTextCode::ISO_8859_10},
        {28603, kstTextCode::ISO_8859_13},
        {28604, kstTextCode::ISO_8859_14},
        {28605, kstTextCode::ISO_8859_15},
        {28606, kstTextCode::ISO_8859_16},
        {20866, kstTextCode::KOI8_R},
        {20936, kstTextCode::GBK},
        {874, kstTextCode::TIS_620},
        {1200, kstTextCode::UCS_2LE},
        {1201, kstTextCode::UCS_2BE},
    };
    return numbers;
}

bool allDigits(const QString& text)
{
    if (text.isEmpty())
        return false;
    for (const QChar c : text) {
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return false;
    }
    return true;
}

} // namespace

kstTextCode::CharSet kstCodePage::charSet(const QString& text)
{
    QString trimmed = text;
    trimmed.remove(QChar(0xFEFF));
    trimmed = trimmed.trimmed();
    if (trimmed.isEmpty())
        return kNone;

    // The library's own strings, in any letter case.
    kstTextCode::CharSet cs = kstTextCode::shpCPGCharSet(trimmed.toUpper());
    if (cs != kNone)
        return cs;

    const QString key = squeezed(trimmed);
    // iconv names and .cpg strings spelled differently; the first match in
    // value order, as for the exact strings.
    for (int value = 0; value < kCharSetCount; ++value) {
        const auto v = static_cast<kstTextCode::CharSet>(value);
        if (key == squeezed(kstTextCode::charsetString(v)))
            return v;
    }
    for (int value = 0; value < kCharSetCount; ++value) {
        const auto v = static_cast<kstTextCode::CharSet>(value);
        if (key == squeezed(kstTextCode::shpCPGString(v)))
            return kstTextCode::shpCPGCharSet(kstTextCode::shpCPGString(v));
    }
    cs = nameAliases().value(key, kNone);
    if (cs != kNone)
        return cs;

    // Code-page numbers, bare or after a prefix.
    QString number = key;
    for (const char* prefix : {"CP", "WINDOWS", "MS", "ANSI"}) {
        if (number.startsWith(QLatin1String(prefix))) {
            number = number.mid(int(qstrlen(prefix)));
            break;
        }
    }
    if (!allDigits(number) || number.size() > 6)
        return kNone;
    const int codePage = number.toInt();
    cs = kstTextCode::shpCPGCharSet(QString::number(codePage));
    if (cs != kNone)
        return cs;
    return codePageNumbers().value(codePage, kNone);
}

} // namespace Kestrum

namespace Kestrum {

namespace {
constexpr int kFeaturesToSample = 200;
} // namespace

bool kstCodePage::holdsUtf8Text(OGRLayer* layer)
{
    if (!layer)
        return false;
    QTextCodec* utf8 = QTextCodec::codecForName("UTF-8");
    bool nonAscii = false;
    bool valid = true;
    layer->ResetReading();
    for (int n = 0; n < kFeaturesToSample && valid; ++n) {
        std::unique_ptr<OGRFeature, decltype(&OGRFeature::DestroyFeature)> feature(layer->GetNextFeature(),
                                                                                   &OGRFeature::DestroyFeature);
        if (!feature)
            break;
        for (int i = 0; i < feature->GetFieldCount() && valid; ++i) {
            if (feature->GetFieldDefnRef(i)->GetType() != OFTString || !feature->IsFieldSetAndNotNull(i))
                continue;
            const QByteArray text(feature->GetFieldAsString(i));
            QTextCodec::ConverterState state;
            utf8->toUnicode(text.constData(), text.size(), &state);
            valid = state.invalidChars == 0 && state.remainingChars == 0;
            nonAscii = nonAscii || std::any_of(text.cbegin(), text.cend(), [](char c) { return c & 0x80; });
        }
    }
    layer->ResetReading();
    return valid && nonAscii;
}

} // namespace Kestrum
