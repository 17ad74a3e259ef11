#include "kstSymbolPictureCache.h"

#include <QBuffer>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Kestrum {

namespace {

void refuse(const char* why, const QString& id)
{
    qDebug().noquote() << QStringLiteral("kstSymbolPictureCache::picture:%1:").arg(QLatin1String(why)) + id;
}

struct FileCloser
{
    int fd;
    ~FileCloser()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

} // namespace

void kstSymbolPictureCache::reset(const QString& folder)
{
    m_folder = QFileInfo(folder).canonicalFilePath();
    m_byId.clear();
    m_byFile.clear();
}

kstSymbolPictureCache::Picture kstSymbolPictureCache::picture(const QString& id)
{
    const auto it = m_byId.constFind(id);
    if (it != m_byId.constEnd())
        return *it;
    const Picture result = load(id);
    m_byId.insert(id, result);
    return result;
}

kstSymbolPictureCache::Picture kstSymbolPictureCache::load(const QString& id)
{
    if (m_folder.isEmpty() || id.isEmpty())
        return Picture();
    // Links are followed to where they lead; the data's files stay in its folder.
    const QString path = QFileInfo(m_folder + QLatin1Char('/') + id).canonicalFilePath();
    if (path.isEmpty())
        return Picture(); // no such file
    if (!path.startsWith(m_folder + QLatin1Char('/'))) {
        refuse("symbol file outside the data folder", id);
        return Picture();
    }
    const auto known = m_byFile.constFind(path);
    if (known != m_byFile.constEnd())
        return *known;
    QByteArray bytes;
    const Picture result = readFile(id, path, bytes) ? decode(id, bytes) : Picture();
    m_byFile.insert(path, result);
    return result;
}

bool kstSymbolPictureCache::readFile(const QString& id, const QString& path, QByteArray& bytes) const
{
    // Opening never waits (a FIFO would block a plain open until a writer
    // comes), and the checks look at what was opened, not at the name.
    const FileCloser file{::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW)};
    struct stat status = {};
    if (file.fd < 0 || ::fstat(file.fd, &status) != 0)
        return false;
    if (!S_ISREG(status.st_mode)) {
        refuse("symbol is not a regular file", id);
        return false;
    }
    if (status.st_size > kMaxFileBytes) {
        refuse("symbol file too large", id);
        return false;
    }
    // The file may grow while it is read: never more than its size then, and
    // never more than the limit.
    bytes.resize(int(std::min<qint64>(status.st_size, kMaxFileBytes)) + 1);
    qint64 total = 0;
    while (total < bytes.size()) {
        const ssize_t n = ::read(file.fd, bytes.data() + total, size_t(bytes.size() - total));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        total += n;
    }
    if (total > kMaxFileBytes) {
        refuse("symbol file too large", id);
        return false;
    }
    bytes.resize(int(total));
    return true;
}

kstSymbolPictureCache::Picture kstSymbolPictureCache::decode(const QString& id, const QByteArray& bytes) const
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    if (!reader.canRead())
        return Picture(); // not a picture
    const QSize size = reader.size();
    const QByteArray format = reader.format();
    const bool scalesWhileDecoding = format == "png" || format == "jpeg" || format == "jpg";
    if (!size.isValid()) {
        refuse("symbol picture of unknown size", id);
        return Picture();
    }
    const qint64 pixels = qint64(size.width()) * size.height();
    if (pixels > (scalesWhileDecoding ? kMaxScaledPixels : kMaxDecodedPixels)) {
        refuse("symbol picture too large", id);
        return Picture();
    }
    Picture result;
    if (size.width() > kMaxSide || size.height() > kMaxSide) {
        const QSize scaled = size.scaled(kMaxSide, kMaxSide, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
        if (scalesWhileDecoding)
            reader.setScaledSize(scaled);
        result.scale = double(scaled.width()) / size.width();
    }
    QImage image = reader.read();
    if (image.isNull())
        return Picture();
    if (image.width() > kMaxSide || image.height() > kMaxSide)
        image = image.scaled(image.size().scaled(kMaxSide, kMaxSide, Qt::KeepAspectRatio).expandedTo(QSize(1, 1)),
                             Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    // The format points paint in, so that points share this very image.
    result.image = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    return result;
}

} // namespace Kestrum
