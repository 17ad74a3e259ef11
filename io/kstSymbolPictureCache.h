#pragma once

#include <QHash>
#include <QImage>
#include <QString>

namespace Kestrum {

// The point-symbol pictures of one import. A feature's symbol id names a file
// relative to the data source's folder; the file is read only when it lies
// inside that folder (links resolved), is a regular file and is not larger
// than kMaxFileBytes. Each file is decoded once, no larger than kMaxSide on
// either side (larger pictures are scaled down while they are decoded), and
// every point using it shares the one image.
//
// Pictures are QImages, so the cache works on any thread; one cache is used
// by one thread at a time.
class kstSymbolPictureCache
{
public:
    static constexpr qint64 kMaxFileBytes = 4 * 1024 * 1024;
    static constexpr int kMaxSide = 512;
    // Pictures are only decoded when their pixel count is at most this: PNG
    // and JPEG scale down while decoding, the other formats first decode the
    // whole picture.
    static constexpr qint64 kMaxScaledPixels = qint64(20000) * 20000;
    static constexpr qint64 kMaxDecodedPixels = qint64(4096) * 4096;

    struct Picture
    {
        QImage image; // null when there is no usable picture
        double scale = 1.0; // picture pixels per file pixel
    };

    // Starts over for a data source in `folder`.
    void reset(const QString& folder);
    // The picture of a symbol id. Missing files and files that hold no
    // picture give a null image silently; refused files give a null image
    // and one debug line per import.
    Picture picture(const QString& id);

private:
    Picture load(const QString& id);
    // The file's bytes, or false (with a debug line) when it is refused.
    bool readFile(const QString& id, const QString& path, QByteArray& bytes) const;
    Picture decode(const QString& id, const QByteArray& bytes) const;

    QString m_folder; // canonical, empty when the folder does not exist
    QHash<QString, Picture> m_byId;
    QHash<QString, Picture> m_byFile; // by canonical path: two ids naming one file share it
};

} // namespace Kestrum
