#pragma once

#include <QtGlobal>

class QDataStream;

namespace Kestrum {

// Proves, without allocating anything, that the bytes ahead of a stream hold
// one well-formed Qt value of a given kind (Qt 5.15 stream format) that fits
// in what remains. Qt's own readers reserve room for the counts they read
// before reading the elements, so a damaged count could make them allocate
// far beyond the data; the layers file reader checks each such value here
// first and stops at the first one that does not hold up.
class kstStreamCheck
{
public:
    enum Kind { Pen, Brush, Pixmap, Font, VariantMap };

    // True when the next value of the stream is a well-formed `kind`.
    // Otherwise the stream's status becomes ReadCorruptData.
    static bool ahead(QDataStream& in, Kind kind);
    // True when n elements of at least minElementSize bytes each can still
    // follow in the stream. Otherwise the status becomes ReadCorruptData.
    static bool fits(QDataStream& in, qint64 n, qint64 minElementSize);

    kstStreamCheck(const char* data, qint64 size) : m_p(data), m_end(data + size) {}

    bool value(Kind kind);
    bool pen();
    bool brush();
    bool image();
    bool font();
    bool variantMap();

private:
    bool variant(int depth);
    bool string();
    bool bytes();
    bool dateTime();
    bool stringList();
    bool color() { return skip(11); }
    bool skip(qint64 n);
    bool count(quint32& n, qint64 minElementSize);
    bool u8(quint8& v);
    bool u32(quint32& v);
    qint64 left() const { return m_end - m_p; }

    const char* m_p;
    const char* m_end;
};

} // namespace Kestrum
