#include "kstTextCode.h"

#include <QDebug>
#include <QSysInfo>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include <iconv.h>

namespace Kestrum {

namespace {

constexpr int kCharSetCount = kstTextCode::UCS_4LE + 1;

struct CharSetNames
{
    const char* iconvName; // enumerator name with "_" turned into "-"
    const char* cpg;       // string of a shapefile's .cpg file
};

// Indexed by kstTextCode::CharSet.
constexpr CharSetNames kCharSetNames[] = {
    {"ASCII", "1251"},             // shared with KOI8-R; "1251" reads back as ASCII
    {"ISO-8859-1", "8859-1"},
    {"ISO-8859-2", "8859-2"},
    {"ISO-8859-3", "8859-3"},
    {"ISO-8859-4", "8859-4"},
    {"ISO-8859-5", "8859-5"},
    {"ISO-8859-7", "8859-7"},
    {"ISO-8859-9", "8859-9"},
    {"ISO-8859-10", "8859-10"},
    {"ISO-8859-13", "8859-13"},
    {"ISO-8859-14", "8859-14"},
    {"ISO-8859-15", "8859-15"},
    {"ISO-8859-16", "8859-16"},
    {"KOI8-R", "1251"},
    {"KOI8-RU", "21866"},
    {"ISO-8859-6", "8859-6"},
    {"ISO-8859-8", "8859-8"},
    {"SHIFT-JIS", "932"},
    {"GBK", "936"},
    {"BIG5", "950"},
    {"CP949", "949"},
    {"TIS-620", "847"},
    {"VISCII", "1258"},
    {"UTF-8", "UTF-8"},
    {"UTF-7", "UTF-7"},
    {"UCS-2", "UCS-2"},
    {"UCS-2BE", "UCS-2BE"},
    {"UCS-2LE", "UCS-2LE"},
    {"UCS-4", "UCS-4"},
    {"UCS-4BE", "UCS-4BE"},
    {"UCS-4LE", "UCS-4LE"},
};
static_assert(sizeof(kCharSetNames) / sizeof(kCharSetNames[0]) == kCharSetCount,
              "one name entry per CharSet value");

// Upper bound of one conversion's output buffer. The buffer size follows the
// input (4 or 2 bytes per input byte); beyond this bound a conversion stops
// with E2BIG like any other conversion that runs out of room, and the result
// always fits a QByteArray or QString.
constexpr size_t kMaxOutputBytes = size_t(1) << 30;

bool isValid(kstTextCode::CharSet cs)
{
    return cs >= 0 && cs < kCharSetCount;
}

// strerror_r comes in two flavours: the XSI one fills the buffer and returns
// an int, the GNU one returns the text (which need not be the buffer).
[[maybe_unused]] const char* strerrorText(int, const char* buffer)
{
    return buffer;
}

[[maybe_unused]] const char* strerrorText(const char* text, const char*)
{
    return text;
}

QString errnoText(int err)
{
    char buffer[256] = {};
    return QString::fromLocal8Bit(strerrorText(strerror_r(err, buffer, sizeof(buffer)), buffer));
}

// "<op> <what>" directly followed by the C library's text for err.
void logErrno(const char* op, const char* what, int err)
{
    qDebug().noquote() << QString::fromLatin1(op) + QLatin1Char(' ') + QLatin1String(what)
                              + errnoText(err);
}

// The UTF-16 code units of a QString, least significant byte first.
QByteArray ucs2LeBytes(const QString& text)
{
    QByteArray bytes(text.size() * 2, Qt::Uninitialized);
    char* out = bytes.data();
    for (const QChar c : text) {
        const ushort unit = c.unicode();
        *out++ = char(unit & 0xff);
        *out++ = char(unit >> 8);
    }
    return bytes;
}

// The first `units` UTF-16 code units stored least significant byte first at
// `bytes`; with stopAtNul the text ends before the first zero unit.
QString textFromUcs2Le(const char* bytes, int units, bool stopAtNul)
{
    QString text(units, Qt::Uninitialized);
    QChar* out = text.data();
    int count = 0;
    for (; count < units; ++count) {
        const ushort unit = ushort(uchar(bytes[2 * count]) | (uchar(bytes[2 * count + 1]) << 8));
        if (stopAtNul && unit == 0)
            break;
        out[count] = QChar(unit);
    }
    text.truncate(count);
    return text;
}

// Owns one iconv conversion descriptor.
class IconvHandle
{
public:
    IconvHandle(const QByteArray& toCode, const QByteArray& fromCode)
        : m_cd(iconv_open(toCode.constData(), fromCode.constData()))
    {
    }
    ~IconvHandle()
    {
        if (isOpen())
            iconv_close(m_cd);
    }
    IconvHandle(const IconvHandle&) = delete;
    IconvHandle& operator=(const IconvHandle&) = delete;

    bool isOpen() const { return m_cd != reinterpret_cast<iconv_t>(std::intptr_t(-1)); }
    iconv_t get() const { return m_cd; }

private:
    iconv_t m_cd;
};

enum class IconvOutcome { Converted, OpenFailed, ConvertFailed };

// Converts `input` from `from` to `to` (transliterating what `to` cannot
// hold) into an output buffer of `outCapacity` bytes. `produced` receives the
// bytes written, also when the conversion stops early. Failures are logged as
// "<op> iconv_open failed:..." and "<op> iconv failed:...".
IconvOutcome runIconv(const char* op, kstTextCode::CharSet from, kstTextCode::CharSet to,
                      const QByteArray& input, size_t outCapacity, QByteArray& produced)
{
    produced.clear();

    const QByteArray toCode = kstTextCode::charsetString(to).toLatin1() + "//TRANSLIT";
    const QByteArray fromCode = kstTextCode::charsetString(from).toLatin1();
    const IconvHandle cd(toCode, fromCode);
    if (!cd.isOpen()) {
        logErrno(op, "iconv_open failed:", errno);
        return IconvOutcome::OpenFailed;
    }

    const size_t capacity = std::min(outCapacity, kMaxOutputBytes);
    const std::unique_ptr<char[]> buffer(new (std::nothrow) char[capacity]());
    if (!buffer) {
        logErrno(op, "iconv failed:", ENOMEM);
        return IconvOutcome::ConvertFailed;
    }

    // iconv takes the input through a non-const pointer but never writes to it.
    char* inPtr = const_cast<char*>(input.constData());
    size_t inLeft = size_t(input.size());
    char* outPtr = buffer.get();
    size_t outLeft = capacity;
    bool failed = false;
    int err = 0;

    while (inLeft > 0) {
        const size_t inBefore = inLeft;
        if (iconv(cd.get(), &inPtr, &inLeft, &outPtr, &outLeft) == size_t(-1)) {
            // Full buffer (E2BIG), invalid (EILSEQ) or truncated (EINVAL) input.
            failed = true;
            err = errno;
            break;
        }
        if (inLeft == inBefore) {
            // A call that neither fails nor consumes input would repeat forever.
            failed = true;
            err = EINVAL;
            break;
        }
    }

    // Return a stateful target (UTF-7) to its initial state: this writes the
    // bits it still holds back and closes an open shift sequence.
    if (!failed && iconv(cd.get(), nullptr, nullptr, &outPtr, &outLeft) == size_t(-1)) {
        failed = true;
        err = errno;
    }

    produced = QByteArray(buffer.get(), int(capacity - outLeft));
    if (failed) {
        logErrno(op, "iconv failed:", err);
        return IconvOutcome::ConvertFailed;
    }
    return IconvOutcome::Converted;
}

} // namespace

QList<kstTextCode::CharSet> kstTextCode::availableCharsets()
{
    return {ASCII,       ISO_8859_1,  UTF_8,       GBK,         BIG5,       UCS_2LE, UCS_2BE,
            ISO_8859_2,  ISO_8859_3,  ISO_8859_4,  ISO_8859_5,  ISO_8859_7, ISO_8859_9,
            ISO_8859_10, ISO_8859_13, ISO_8859_14, ISO_8859_15, ISO_8859_16, KOI8_R,
            KOI8_RU,     ISO_8859_6,  ISO_8859_8,  SHIFT_JIS,   CP949,      TIS_620, VISCII};
}

QStringList kstTextCode::availableCharsetStrings_en()
{
    return {
        QStringLiteral("ASCII [CP1252]"),
        QStringLiteral("Western European(Latin-1 / ISO-8859-1) [CP28591]"),
        QStringLiteral("UTF-8 [CP65001]"),
        QStringLiteral("Chinese-Simplified(GBK) [CP936]"),
        QStringLiteral("Chinese-Traditional(BIG5) [CP950]"),
        QStringLiteral("UCS-2 Little Endian"),
        QStringLiteral("UCS-2 Big Endian"),
        QStringLiteral("Centeral European(Latin-2 / ISO-8859-2) [CP28592]"),
        QStringLiteral("Southern European(Latin-3 / ISO-8859-3) [CP28593]"),
        QStringLiteral("North European(Latin-4 / ISO-8859-4) [CP28594]"),
        QStringLiteral("Cyrillic(ISO-8859-5) [CP28595]"),
        QStringLiteral("Greek(ISO-8859-7) [CP28597]"),
        QStringLiteral("Turkish(Latin-5 / ISO-8859-9) [CP28599]"),
        QStringLiteral("Nortic(Latin-6 / ISO-8859-10) [CP28600]"),
        QStringLiteral("Baltic Rim(Latin-7 / ISO-8859-13) [CP28603]"),
        QStringLiteral("Celtic (Latin-8 / ISO-8859-14) [CP28604]"),
        QStringLiteral("Western European(Latin-9 / ISO-8859-15) [CP28605]"),
        QStringLiteral("South-Eastern European(Latin-10 / ISO-8859-16) [CP28606]"),
        QStringLiteral("Russian(KOI8_R) [CP1251]"),
        QStringLiteral("Russian/Ukrainian/Belarusian(KOI8_RU) [CP21866]"),
        QStringLiteral("Arabic(ISO-8859-6) [CP28596]"),
        QStringLiteral("Hebrew(ISO-8859-8) [CP28598]"),
        QStringLiteral("Japanese(SHIFT-JIS) [CP932]"),
        QStringLiteral("Korean(Unified Hangul Code) [CP949]"),
        // Offered by name only: there is no CharSet value for Johab.
        QStringLiteral("Korean(Johab) [CP1361]"),
        QStringLiteral("Thai(TIS_620) [CP874]"),
        QStringLiteral("Vietnamese(VISCII) [CP1258]"),
    };
}

QStringList kstTextCode::availableCharsetStrings_cn()
{
    return {
        QStringLiteral("ASCII [CP1252]"),
        QStringLiteral("西欧语系(Latin-1 / ISO-8859-1) [CP28591]"),
        QStringLiteral("UTF-8 [CP65001]"),
        QStringLiteral("中文-简体(GBK) [CP936]"),
        QStringLiteral("中文-繁体(BIG5) [CP950]"),
        QStringLiteral("UCS-2 Little Endian"),
        QStringLiteral("UCS-2 Big Endian"),
        QStringLiteral("中欧语系(Latin-2 / ISO-8859-2) [CP28592]"),
        QStringLiteral("南欧语系(Latin-3 / ISO-8859-3) [CP28593]"),
        QStringLiteral("北欧语系(Latin-4 / ISO-8859-4) [CP28594]"),
        QStringLiteral("斯拉夫语系(ISO-8859-5) [CP28595]"),
        QStringLiteral("希腊语(ISO-8859-7) [CP28597]"),
        QStringLiteral("土耳其语(Latin-5 / ISO-8859-9) [CP28599]"),
        QStringLiteral("斯堪的纳维亚语系(Latin-6 / ISO-8859-10) [CP28600]"),
        QStringLiteral("波罗的海语系(Latin-7 / ISO-8859-13) [CP28603]"),
        QStringLiteral("凯尔特语 (Latin-8 / ISO-8859-14) [CP28604]"),
        QStringLiteral("东欧语系(Latin-9 / ISO-8859-15) [CP28605]"),
        QStringLiteral("东南欧语系(Latin-10 / ISO-8859-16) [CP28606]"),
        QStringLiteral("俄语(KOI8_R) [CP1251]"),
        QStringLiteral("俄罗斯/乌克兰/白俄罗斯语(KOI8_RU) [CP21866]"),
        QStringLiteral("阿拉伯语(ISO-8859-6) [CP28596]"),
        QStringLiteral("希伯来语(ISO-8859-8) [CP28598]"),
        QStringLiteral("日语(SHIFT-JIS) [CP932]"),
        QStringLiteral("韩语(Unified Hangul Code) [CP949]"),
        QStringLiteral("泰语(TIS_620) [CP874]"),
        QStringLiteral("越南语(VISCII) [CP1258]"),
    };
}

QString kstTextCode::charsetString(CharSet cs)
{
    if (!isValid(cs))
        return QString();
    return QString::fromLatin1(kCharSetNames[cs].iconvName);
}

bool kstTextCode::encode(CharSet cs, const QByteArray& baSrc, QString& dst)
{
    if (baSrc.isEmpty()) {
        qDebug().noquote() << "baSrc is empty!";
        dst.clear();
        return true;
    }
    if (!isValid(cs)) {
        qDebug().noquote() << "encode invalid CharSet";
        dst.clear();
        return false;
    }
    if (cs == UCS_2LE) {
        // Already the internal form; an odd last byte is no code unit.
        dst = textFromUcs2Le(baSrc.constData(), baSrc.size() / 2, false);
        return true;
    }

    QByteArray produced;
    const IconvOutcome outcome =
        runIconv("encode", cs, UCS_2LE, baSrc, 4 * size_t(baSrc.size()), produced);
    // The text ends at the first NUL, also when the conversion stopped early.
    dst = textFromUcs2Le(produced.constData(), produced.size() / 2, true);
    return outcome == IconvOutcome::Converted;
}

bool kstTextCode::decode(const QString& strSrc, CharSet cs, QByteArray& dst)
{
    if (strSrc.isEmpty()) {
        qDebug().noquote() << "strSrc is empty!";
        dst.clear();
        return true;
    }
    if (!isValid(cs)) {
        qDebug().noquote() << "decode invalid CharSet";
        dst.clear();
        return false;
    }

    const QByteArray input = ucs2LeBytes(strSrc);
    if (cs == UCS_2LE) {
        dst = input;
        return true;
    }

    const IconvOutcome outcome =
        runIconv("decode", UCS_2LE, cs, input, 2 * size_t(input.size()), dst);
    return outcome == IconvOutcome::Converted;
}

bool kstTextCode::conv(CharSet from, const QByteArray& src, CharSet to, QByteArray& dst)
{
    if (src.isEmpty()) {
        dst.clear();
        return true;
    }
    if (!isValid(from) || !isValid(to)) {
        qDebug().noquote() << "conv invalid CharSet";
        return false;
    }
    if (from == to) {
        dst = src;
        return true;
    }

    QByteArray produced;
    const IconvOutcome outcome = runIconv("conv", from, to, src, 2 * size_t(src.size()), produced);
    if (outcome == IconvOutcome::OpenFailed)
        return false;
    dst = produced;
    return outcome == IconvOutcome::Converted;
}

bool kstTextCode::isBigEndian()
{
    return QSysInfo::ByteOrder == QSysInfo::BigEndian;
}

QString kstTextCode::shpCPGString(CharSet cs)
{
    if (!isValid(cs))
        return QString();
    return QString::fromLatin1(kCharSetNames[cs].cpg);
}

kstTextCode::CharSet kstTextCode::shpCPGCharSet(const QString& cpg)
{
    if (cpg == QLatin1String("UTF-8"))
        return UTF_8;
    if (cpg == QLatin1String("936"))
        return GBK;
    if (cpg == QLatin1String("950"))
        return BIG5;
    // First match in value order, so the shared "1251" stands for ASCII.
    for (int value = 0; value < kCharSetCount; ++value) {
        if (value == UTF_8)
            continue;
        if (cpg == QLatin1String(kCharSetNames[value].cpg))
            return static_cast<CharSet>(value);
    }
    return static_cast<CharSet>(-1);
}

} // namespace Kestrum
