#pragma once

#include "kstStreamCheck.h"

#include <QBrush>
#include <QBuffer>
#include <QDataStream>
#include <QFont>
#include <QImage>
#include <QMap>
#include <QPen>
#include <QPixmap>
#include <QPointF>
#include <QString>
#include <QVariant>
#include <QVector>

#include <memory>

namespace Kestrum {

// Reads the values of layers file records from a block of bytes in memory,
// with the byte order and floating-point precision of the stream the block
// comes from. Numbers, strings, point arrays and plain attribute values are
// decoded here directly; every other Qt value is measured by kstStreamCheck
// first and then decoded by Qt from exactly the measured bytes, and values
// whose bytes were seen before (pens, brushes, pictures, fonts, map keys) are
// shared instead of decoded again. The first failure stops the reader: every
// later read yields a zero value.
class kstRecordReader
{
public:
    // What the readers of one stream share: decoded values by their bytes,
    // and a stream over the reader's block for Qt's and the core library's
    // own readers.
    class Context
    {
    public:
        explicit Context(const QDataStream& settings);
        ~Context();

        // An image whose bytes need no decoding: they stand for `image`.
        void knowImage(const QByteArray& bytes, const QImage& image);

    private:
        friend class kstRecordReader;

        // Values decoded last, with the bytes they came from.
        template <class T>
        class Cache
        {
        public:
            const T* find(const char* bytes, qint64 size) const;
            void add(const char* bytes, qint64 size, const T& value);
            void add(const QByteArray& bytes, const T& value);
            // The slot of a given place (the n-th key of a map) instead of the
            // most recent ones.
            const T* findAt(int slot, const char* bytes, qint64 size) const;
            void setAt(int slot, const char* bytes, qint64 size, const T& value);

        private:
            struct Entry
            {
                QByteArray bytes;
                T value;
            };
            QVector<Entry> m_entries;
            int m_next = 0;
        };

        QDataStream::ByteOrder m_byteOrder;
        int m_version;
        QDataStream::FloatingPointPrecision m_precision;
        std::unique_ptr<QBuffer> m_buffer;
        std::unique_ptr<QDataStream> m_stream;
        QByteArray m_block;
        Cache<QPen> m_pens;
        Cache<QBrush> m_brushes;
        Cache<QPixmap> m_pixmaps;
        Cache<QImage> m_images;
        Cache<QFont> m_fonts;
        Cache<QVariant> m_variants;
        Cache<QString> m_keys;
    };

    // Reads the block of `size` bytes at `data`, starting `start` bytes in.
    kstRecordReader(const char* data, qint64 size, qint64 start, Context& context);
    kstRecordReader(const kstRecordReader&) = delete;
    kstRecordReader& operator=(const kstRecordReader&) = delete;

    bool ok() const { return m_status == QDataStream::Ok; }
    QDataStream::Status status() const { return m_status; }
    // Position in the block.
    qint64 pos() const { return m_p - m_begin; }

    qint32 i32();
    qint64 i64();
    bool boolean();
    double real();
    QPoint point();
    QPointF pointF();
    QString string();
    void strings(QList<QString>& list);
    void ints(QList<int>& list);
    // A count and that many points, in Qt's QVector<QPointF> layout.
    void points(QVector<QPointF>& points);
    void pen(QPen& pen);
    void brush(QBrush& brush);
    void pixmap(QPixmap& pixmap);
    // An image, in the same layout as a pixmap.
    void image(QImage& image);
    void font(QFont& font);
    void color(QColor& color);
    // QMap<QString, QVariant> in Qt's layout.
    void variantMap(QMap<QString, QVariant>& map);

    // A value read through its own stream operator, from the bytes in view.
    template <class T>
    void streamed(T& value)
    {
        QDataStream* stream = streamAt();
        if (!stream)
            return;
        *stream >> value;
        finishStreamed(*stream);
    }

private:
    const char* take(qint64 n);
    void fail(QDataStream::Status status);
    QString keyString(int index);
    void variant(QVariant& value);
    bool plainVariant(quint32 type, QVariant& value);
    template <class T>
    void checked(T& value, Context::Cache<T>& cache, kstStreamCheck::Kind kind);
    QDataStream* streamAt();
    void finishStreamed(QDataStream& stream);

    const char* m_begin;
    const char* m_p;
    const char* m_end;
    Context& m_context;
    bool m_bigEndian;
    int m_doubleBytes;
    bool m_easingCurves = false;
    QDataStream::Status m_status = QDataStream::Ok;
};

} // namespace Kestrum
