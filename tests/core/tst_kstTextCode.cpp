#include "kstTextCode.h"

#include <QtTest>

#include <cerrno>
#include <cstring>

using Kestrum::kstTextCode;
using CharSet = kstTextCode::CharSet;
Q_DECLARE_METATYPE(Kestrum::kstTextCode::CharSet)

namespace {

// Debug line of a failed iconv call: the fixed text, then the C library's text.
QByteArray errnoLine(const char* text, int err)
{
    return (QString::fromLatin1(text) + QString::fromLocal8Bit(std::strerror(err))).toUtf8();
}

QByteArray ucs2Be(const QString& text)
{
    QByteArray bytes;
    for (const QChar c : text)
        bytes.append(char(c.unicode() >> 8)).append(char(c.unicode() & 0xff));
    return bytes;
}

// Collects every message logged while it lives (successful paths must be silent).
struct MessageRecorder
{
    MessageRecorder() { messages.clear(); }
    ~MessageRecorder() { qInstallMessageHandler(previous); }
    static inline QStringList messages;
    const QtMessageHandler previous =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& msg) { messages << msg; });
};

} // namespace

class tst_kstTextCode : public QObject
{
    Q_OBJECT

private slots:
    void knownSequences_data();
    void knownSequences();
    void everyCharsetRoundTrips();
    void conversionPaths();
    void emptyAndInvalidArguments();
    void conversionFailures();
    void codePagesAndDisplayLists();
};

void tst_kstTextCode::knownSequences_data()
{
    QTest::addColumn<CharSet>("charset");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");

    const QString zhongwen = QString(QChar(0x4E2D)) + QChar(0x6587);
    QTest::newRow("GBK") << kstTextCode::GBK << QByteArray::fromHex("d6d0cec4") << zhongwen;
    QTest::newRow("BIG5") << kstTextCode::BIG5 << QByteArray::fromHex("a4a4a4e5") << zhongwen;
    QTest::newRow("SHIFT_JIS") << kstTextCode::SHIFT_JIS << QByteArray::fromHex("93fa967b") << QStringLiteral("日本");
    QTest::newRow("KOI8_RU") << kstTextCode::KOI8_RU << QByteArray::fromHex("aebe") << QStringLiteral("ўЎ");
    QTest::newRow("ISO_8859_15") << kstTextCode::ISO_8859_15 << QByteArray("\xa4") << QString(QChar(0x20AC));
    // UTF-7 keeps bits back until the converter is reset: "+Ti1lhw-" needs that final flush.
    QTest::newRow("UTF_7") << kstTextCode::UTF_7 << QByteArray("+Ti1lhw-") << zhongwen;
    QTest::newRow("UCS_2LE") << kstTextCode::UCS_2LE << QByteArray::fromHex("2d4e8765") << zhongwen;
    QTest::newRow("UCS_4BE") << kstTextCode::UCS_4BE << QByteArray::fromHex("00004e2d00006587") << zhongwen;
    QTest::newRow("UCS_4LE") << kstTextCode::UCS_4LE << QByteArray::fromHex("2d4e000087650000") << zhongwen;
}

// Bytes to text, text to bytes, and bytes to and from UCS-2BE through conv
// (which also covers UCS-2BE's own bytes).
void tst_kstTextCode::knownSequences()
{
    QFETCH(CharSet, charset);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, text);

    MessageRecorder recorder;
    QString encoded;
    QByteArray decoded, toUcs2, fromUcs2;
    QVERIFY(kstTextCode::encode(charset, bytes, encoded) && kstTextCode::decode(text, charset, decoded));
    QVERIFY(kstTextCode::conv(charset, bytes, kstTextCode::UCS_2BE, toUcs2)
            && kstTextCode::conv(kstTextCode::UCS_2BE, ucs2Be(text), charset, fromUcs2));
    QCOMPARE(encoded, text);
    QCOMPARE(decoded, bytes);
    QCOMPARE(toUcs2, ucs2Be(text));
    QCOMPARE(fromUcs2, bytes);
    QCOMPARE(MessageRecorder::messages, QStringList());
}

// Every value names a converter iconv knows (hyphens, not the enumerator's
// underscores), plain text survives the trip, and every value but KOI8_R
// (which shares "1251" with ASCII) reads back from its own .cpg string.
void tst_kstTextCode::everyCharsetRoundTrips()
{
    const QString text = QStringLiteral("Kestrum 42");
    for (int value = 0; value <= kstTextCode::UCS_4LE; ++value) {
        const CharSet cs = static_cast<CharSet>(value);
        const QString name = kstTextCode::charsetString(cs);
        QVERIFY2(!name.isEmpty() && !name.contains(QLatin1Char('_')), qPrintable(name));

        QByteArray bytes, utf8;
        QString back;
        QVERIFY2(kstTextCode::decode(text, cs, bytes), qPrintable(name));
        QVERIFY2(kstTextCode::encode(cs, bytes, back), qPrintable(name));
        QCOMPARE(back, text);
        QVERIFY2(kstTextCode::conv(cs, bytes, kstTextCode::UTF_8, utf8), qPrintable(name));
        QCOMPARE(utf8, text.toUtf8());
        if (cs != kstTextCode::KOI8_R)
            QCOMPARE(kstTextCode::shpCPGCharSet(kstTextCode::shpCPGString(cs)), cs);
    }
}

void tst_kstTextCode::conversionPaths()
{
    MessageRecorder recorder;
    QByteArray dst;
    QString text;

    // Legacy code page to legacy code page.
    QVERIFY(kstTextCode::conv(kstTextCode::SHIFT_JIS, QByteArray::fromHex("93fa967b"), kstTextCode::GBK, dst));
    QCOMPARE(dst, QByteArray::fromHex("c8d5b1be"));

    // The same character set on both sides copies, even bytes that are not valid in it.
    QVERIFY(kstTextCode::conv(kstTextCode::UTF_8, QByteArray("a\xff"), kstTextCode::UTF_8, dst));
    QCOMPARE(dst, QByteArray("a\xff"));

    // Characters the target cannot hold become '?', and the call succeeds.
    QVERIFY(kstTextCode::decode(QString(QChar(0x4E2D)), kstTextCode::ISO_8859_1, dst));
    QCOMPARE(dst, QByteArray("?"));
    QVERIFY(kstTextCode::conv(kstTextCode::UTF_8, QByteArray("x\xe4\xb8\xad"), kstTextCode::ASCII, dst));
    QCOMPARE(dst, QByteArray("x?"));

    // UCS-2LE input is taken as code units directly: an odd last byte is dropped.
    QVERIFY(kstTextCode::encode(kstTextCode::UCS_2LE, QByteArray("A\0B\0C", 5), text));
    QCOMPARE(text, QStringLiteral("AB"));
    // Converted text ends at the first NUL.
    QVERIFY(kstTextCode::encode(kstTextCode::UTF_8, QByteArray("ab\0cd", 5), text));
    QCOMPARE(text, QStringLiteral("ab"));

    QCOMPARE(MessageRecorder::messages, QStringList());
}

void tst_kstTextCode::emptyAndInvalidArguments()
{
    // Empty input succeeds before the character set is looked at.
    for (const CharSet cs : {kstTextCode::GBK, static_cast<CharSet>(31)}) {
        QString text = QStringLiteral("stale");
        QByteArray bytes = "stale", converted = "stale";
        QTest::ignoreMessage(QtDebugMsg, "baSrc is empty!");
        QVERIFY(kstTextCode::encode(cs, QByteArray(), text));
        QTest::ignoreMessage(QtDebugMsg, "strSrc is empty!");
        QVERIFY(kstTextCode::decode(QString(), cs, bytes));
        MessageRecorder recorder;
        QVERIFY(kstTextCode::conv(cs, QByteArray(), cs, converted));
        QVERIFY(text.isEmpty() && bytes.isEmpty() && converted.isEmpty());
        QCOMPARE(MessageRecorder::messages, QStringList());
    }

    // Values outside 0..30, including the -1 of an unknown .cpg string: the
    // outputs of encode and decode are cleared, conv leaves its own alone, also
    // when both sides are the same invalid value.
    for (const int value : {31, 32, 1000, -1}) {
        const CharSet bad = static_cast<CharSet>(value);
        QString text = QStringLiteral("stale");
        QByteArray bytes = "stale", kept = "stale";
        QTest::ignoreMessage(QtDebugMsg, "encode invalid CharSet");
        QVERIFY(!kstTextCode::encode(bad, QByteArray("abc"), text));
        QTest::ignoreMessage(QtDebugMsg, "decode invalid CharSet");
        QVERIFY(!kstTextCode::decode(QStringLiteral("abc"), bad, bytes));
        for (const auto& [from, to] : {std::make_pair(bad, kstTextCode::UTF_8), std::make_pair(kstTextCode::UTF_8, bad),
                                       std::make_pair(bad, bad)}) {
            QTest::ignoreMessage(QtDebugMsg, "conv invalid CharSet");
            QVERIFY(!kstTextCode::conv(from, QByteArray("abc"), to, kept));
        }
        QVERIFY(text.isEmpty() && bytes.isEmpty() && kept == "stale");
        QVERIFY(kstTextCode::charsetString(bad).isEmpty() && kstTextCode::shpCPGString(bad).isEmpty());
    }
}

// A failed conversion logs the errno text and still hands back what it converted before.
void tst_kstTextCode::conversionFailures()
{
    QByteArray bytes = "stale";
    QString text;

    // Output needing more room than the buffer (2 bytes per input byte for conv).
    QTest::ignoreMessage(QtDebugMsg, errnoLine("conv iconv failed:", E2BIG).constData());
    QVERIFY(!kstTextCode::conv(kstTextCode::UTF_8, QByteArray("0123456789"), kstTextCode::UCS_4LE, bytes));
    QCOMPARE(bytes, QByteArray::fromHex("3000000031000000320000003300000034000000"));
    QTest::ignoreMessage(QtDebugMsg, errnoLine("conv iconv failed:", E2BIG).constData());
    QVERIFY(!kstTextCode::conv(kstTextCode::TIS_620, QByteArray("\xa1"), kstTextCode::UTF_8, bytes));
    QVERIFY(bytes.isEmpty());
    // decode allows 4 bytes per code unit; a lone CJK character in UTF-7 takes 5.
    QTest::ignoreMessage(QtDebugMsg, errnoLine("decode iconv failed:", E2BIG).constData());
    QVERIFY(!kstTextCode::decode(QString(QChar(0x4E2D)), kstTextCode::UTF_7, bytes));
    QCOMPARE(bytes, QByteArray("+Ti"));

    // Invalid and truncated input sequences.
    QTest::ignoreMessage(QtDebugMsg, errnoLine("encode iconv failed:", EILSEQ).constData());
    QVERIFY(!kstTextCode::encode(kstTextCode::UTF_8, QByteArray("ab\xff" "c"), text));
    QCOMPARE(text, QStringLiteral("ab"));
    QTest::ignoreMessage(QtDebugMsg, errnoLine("encode iconv failed:", EINVAL).constData());
    QVERIFY(!kstTextCode::encode(kstTextCode::GBK, QByteArray::fromHex("d6d0ce"), text));
    QCOMPARE(text, QString(QChar(0x4E2D)));
    QTest::ignoreMessage(QtDebugMsg, errnoLine("conv iconv failed:", EILSEQ).constData());
    QVERIFY(!kstTextCode::conv(kstTextCode::UTF_8, QByteArray("ab\xff"), kstTextCode::ISO_8859_1, bytes));
    QCOMPARE(bytes, QByteArray("ab"));
    // Text goes out as UCS-2: a lone surrogate is not a character.
    QTest::ignoreMessage(QtDebugMsg, errnoLine("decode iconv failed:", EILSEQ).constData());
    QVERIFY(!kstTextCode::decode(QStringLiteral("ab") + QChar(0xD800) + QLatin1Char('c'), kstTextCode::UTF_8, bytes));
    QCOMPARE(bytes, QByteArray("ab"));
}

void tst_kstTextCode::codePagesAndDisplayLists()
{
    // The code pages as written to .cpg files, odd ones included: ASCII and
    // KOI8_R share "1251", TIS_620 is "847".
    QCOMPARE(kstTextCode::shpCPGString(kstTextCode::ASCII), QStringLiteral("1251"));
    QCOMPARE(kstTextCode::shpCPGString(kstTextCode::KOI8_R), QStringLiteral("1251"));
    QCOMPARE(kstTextCode::shpCPGString(kstTextCode::TIS_620), QStringLiteral("847"));
    QCOMPARE(kstTextCode::shpCPGCharSet(QStringLiteral("936")), kstTextCode::GBK);
    for (const char* unknown : {"874", "utf-8", "1252", " 936", ""})
        QCOMPARE(kstTextCode::shpCPGCharSet(QLatin1String(unknown)), static_cast<CharSet>(-1));

    // The offered values in the order of the Chinese names.
    const QList<CharSet> offered = kstTextCode::availableCharsets();
    const QStringList en = kstTextCode::availableCharsetStrings_en();
    const QStringList cn = kstTextCode::availableCharsetStrings_cn();
    QVERIFY(offered.size() == 26 && cn.size() == 26 && en.size() == 27);
    QVERIFY(offered.at(3) == kstTextCode::GBK && offered.at(5) == kstTextCode::UCS_2LE
            && offered.at(18) == kstTextCode::KOI8_R
            && offered.at(23) == kstTextCode::CP949 && offered.at(25) == kstTextCode::VISCII);
    QCOMPARE(en.at(24), QStringLiteral("Korean(Johab) [CP1361]"));
    // Chinese names are real characters, not code-page bytes.
    QCOMPARE(cn.at(3), QString(QChar(0x4E2D)) + QChar(0x6587) + QChar(0x002D) + QChar(0x7B80) + QChar(0x4F53)
                           + QStringLiteral("(GBK) [CP936]"));

    // Both lists describe the same character set at each place (the English
    // one has Johab inserted after CP949).
    const auto tag = [](const QString& name) { return name.mid(name.lastIndexOf(QLatin1Char('('))); };
    for (int i = 0; i < cn.size(); ++i)
        QCOMPARE(tag(cn.at(i)), tag(en.at(i < 24 ? i : i + 1)));

    QCOMPARE(kstTextCode::isBigEndian(), QSysInfo::ByteOrder == QSysInfo::BigEndian);
}

QTEST_GUILESS_MAIN(tst_kstTextCode)
#include "tst_kstTextCode.moc"
