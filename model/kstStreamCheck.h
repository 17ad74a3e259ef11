#pragma once

#include <QtGlobal>

namespace Kestrum {

// Measures, without allocating anything, one well-formed Qt value of a given
// kind (Qt 5.15 stream format) at the start of a block of bytes. Qt's own
// readers reserve room for the counts they read before reading the elements
// and trust other fields too, so a damaged count could make them allocate
// far beyond the data; the layers file reader hands a value to Qt only after
// it measured here, and only the measured bytes.
class kstStreamCheck
{
public:
    enum Kind { Pen, Brush, Pixmap, Font, Variant };

    // bigEndian and doubleBytes (8, or 4 for single precision) follow the
    // settings of the stream the bytes come from.
    kstStreamCheck(const char* data, qint64 size, bool bigEndian, int doubleBytes)
        : m_p(data), m_begin(data), m_end(data + size), m_bigEndian(bigEndian), m_double(doubleBytes)
    {
    }

    // The length of the value of `kind` at the start, or -1 when the bytes
    // do not hold one. short() then tells whether more bytes could have
    // completed it.
    qint64 measure(Kind kind);
    bool isShort() const { return m_short; }
    // Whether the measured value holds an easing curve, whose function
    // address means nothing outside the process that wrote it.
    bool hasEasingCurve() const { return m_easingCurve; }

private:
    bool value(Kind kind);
    bool pen();
    bool brush();
    bool image();
    bool font();
    bool variant(int depth);
    bool builtIn(quint32 type, int depth);
    bool guiType(quint32 type, int depth);
    bool userType(int depth);
    bool variantList(int depth);
    bool variantMap(int depth, qint64 keyBytes);
    bool string();
    bool bytes();
    bool bitArray();
    bool dateTime();
    bool stringList();
    bool bytesList();
    bool easingCurve();
    bool jsonValue();
    bool cbor();
    bool cborItem(const char*& p, const char* end, int depth) const;
    bool icon();
    bool cursor();
    bool region();
    bool textFormat(int depth);
    bool keySequence();
    bool color() { return skip(11); }
    bool doubles(qint64 n) { return skip(n * m_double); }
    bool skip(qint64 n);
    bool count(quint32& n, qint64 minElementSize);
    bool u8(quint8& v);
    bool u16(quint16& v);
    bool u32(quint32& v);
    quint32 load32(const char* p) const;
    qint64 left() const { return m_end - m_p; }

    const char* m_p;
    const char* m_begin;
    const char* m_end;
    bool m_bigEndian;
    int m_double;
    bool m_short = false;
    bool m_easingCurve = false;
};

} // namespace Kestrum
