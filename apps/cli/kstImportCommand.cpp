#include "kstImportCommand.h"

#include "kstTextCode.h"
#include "kstTileResulotion.h"
#include "kstVectorCollect.h"
#include "kstVectorFileImport.h"
#include "kstVectorLayer.h"
#include "kstVectorShape.h"
#include "kstWebMercatorProjection.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QMap>
#include <QMutex>
#include <QMutexLocker>
#include <QTextStream>

#include <cpl_error.h>
#include <gdal.h>
#include <gdal_priv.h>

#include <sys/ioctl.h>
#include <unistd.h>

using namespace Kestrum;

namespace {

// Zoom level of the map view the imported shapes are prepared for.
constexpr int kViewLevel = 12;

// Terminal columns a text takes: East Asian wide characters take two.
int columns(const QString& text)
{
    int n = 0;
    for (const QChar c : text) {
        const ushort u = c.unicode();
        const bool wide = (u >= 0x1100 && u <= 0x115F) || (u >= 0x2E80 && u <= 0xA4CF) || (u >= 0xAC00 && u <= 0xD7A3)
            || (u >= 0xF900 && u <= 0xFAFF) || (u >= 0xFE30 && u <= 0xFE4F) || (u >= 0xFF00 && u <= 0xFF60)
            || (u >= 0xFFE0 && u <= 0xFFE6);
        n += wide ? 2 : 1;
    }
    return n;
}

// The text cut to at most `width` terminal columns.
QString fitted(const QString& text, int width)
{
    QString result;
    for (const QChar c : text) {
        if (columns(result + c) > width)
            break;
        result += c;
    }
    return result;
}

// Guards the terminal: progress is drawn on the main thread, diagnostics of
// the library come from the importer's worker too.
QMutex g_terminal;

// One line on the terminal, redrawn in place with a carriage return.
class ProgressBar
{
public:
    explicit ProgressBar(QTextStream& err) : m_err(err)
    {
        struct winsize size = {};
        if (isatty(STDERR_FILENO) && ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 20)
            m_width = size.ws_col - 1;
    }

    void update(int percent, const QString& detail)
    {
        // Redraw at most ten times a second, and whenever the figure moves.
        const QMutexLocker lock(&g_terminal);
        if (percent == m_percent && m_timer.isValid() && m_timer.elapsed() < 100)
            return;
        m_percent = percent;
        m_timer.start();
        const int clamped = qBound(0, percent, 100);
        const int filled = clamped * kBarWidth / 100;
        const QString bar = QStringLiteral("[%1%2] %3% ")
                                .arg(QString(filled, QLatin1Char('#')), QString(kBarWidth - filled, QLatin1Char('-')))
                                .arg(clamped, 3);
        const QString line = fitted(bar + detail, m_width);
        const int used = columns(line);
        m_err << '\r' << line << QString(qMax(0, m_used - used), QLatin1Char(' '));
        m_err.flush();
        m_used = used;
    }

    // Leaves the bar's line so that other output starts on a line of its own;
    // the next update draws the bar again below it.
    void finish()
    {
        if (m_used > 0) {
            m_err << '\n';
            m_err.flush();
        }
        m_used = 0;
    }

private:
    static constexpr int kBarWidth = 30;
    QTextStream& m_err;
    QElapsedTimer m_timer;
    int m_percent = -1;
    int m_used = 0;
    int m_width = 79;
};

// Diagnostics of the library go to stderr on lines of their own, not into
// the middle of the progress bar.
ProgressBar* g_bar = nullptr;
QtMessageHandler g_previousHandler = nullptr;

void messageBesideBar(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    const QMutexLocker lock(&g_terminal);
    if (g_bar)
        g_bar->finish();
    if (g_previousHandler)
        g_previousHandler(type, context, message);
}

QString kindName(int type)
{
    switch (type) {
    case kstVectorShape::Type_Point: return QStringLiteral("point");
    case kstVectorShape::Type_Line: return QStringLiteral("line");
    case kstVectorShape::Type_Polygon: return QStringLiteral("polygon");
    case kstVectorShape::Type_Rect: return QStringLiteral("rectangle");
    case kstVectorShape::Type_Circle: return QStringLiteral("circle");
    default: return QStringLiteral("unknown");
    }
}

void describeLayer(int index, const kstVectorLayer& layer, QTextStream& out)
{
    QMap<QString, int> kinds;
    int shapes = 0;
    QStringList labels;
    for (const kstVectorCollect* collect : layer.m_collects) {
        for (const kstVectorShape* shape : collect->m_shapes) {
            ++kinds[kindName(shape->shapeType())];
            ++shapes;
        }
        if (labels.size() < 3 && !collect->m_text.isEmpty())
            labels.append(collect->m_text);
    }
    out << "layer " << index << ": \"" << layer.m_name << "\", " << layer.m_collects.size() << " collects, "
        << shapes << " shapes";
    for (auto it = kinds.cbegin(); it != kinds.cend(); ++it)
        out << (it == kinds.cbegin() ? " (" : ", ") << it.value() << " " << it.key();
    out << (kinds.isEmpty() ? "" : ")") << ", character set "
        << (layer.m_charSet >= 0 && layer.m_charSet <= kstTextCode::UCS_4LE
                ? kstTextCode::charsetString(kstTextCode::CharSet(layer.m_charSet))
                : QStringLiteral("unknown"))
        << "\n";
    if (!labels.isEmpty())
        out << "  labels from \"" << layer.m_labelField << "\": " << labels.join(QStringLiteral(", "))
            << (layer.m_collects.size() > labels.size() ? ", ..." : "") << "\n";
}

int usage(QTextStream& err, const QString& problem)
{
    err << "kstvector import: " << problem << "\n"
        << "usage: kstvector import FILE [--layers i,j] [-o OUT]\n";
    return 2;
}

} // namespace

int kstImportCommand::run(const QStringList& args, QTextStream& out, QTextStream& err)
{
    out.setCodec("UTF-8");
    err.setCodec("UTF-8");

    QString file;
    QString output;
    QList<int> indices;
    bool layersGiven = false;
    for (int i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        if (arg == QLatin1String("--layers") || arg == QLatin1String("-o")) {
            if (i + 1 >= args.size())
                return usage(err, arg + QStringLiteral(" needs a value"));
            const QString value = args.at(++i);
            if (arg == QLatin1String("-o")) {
                output = value;
                continue;
            }
            layersGiven = true;
            for (const QString& part : value.split(QLatin1Char(','))) {
                bool ok = false;
                const int index = part.trimmed().toInt(&ok);
                if (!ok || index < 0)
                    return usage(err, QStringLiteral("bad layer index \"%1\"").arg(part));
                indices.append(index);
            }
        } else if (arg.startsWith(QLatin1Char('-')) || !file.isEmpty()) {
            return usage(err, QStringLiteral("unexpected argument \"%1\"").arg(arg));
        } else {
            file = arg;
        }
    }
    if (file.isEmpty())
        return usage(err, QStringLiteral("no file given"));
    if (output.isEmpty())
        output = QFileInfo(file).completeBaseName() + QStringLiteral(".kst");

    GDALAllRegister();
    GDALDataset* dataSource =
        GDALDataset::FromHandle(GDALOpenEx(file.toUtf8().constData(), GDAL_OF_VECTOR, nullptr, nullptr, nullptr));
    if (!dataSource) {
        const QString why = QString::fromUtf8(CPLGetLastErrorMsg());
        err << "kstvector: " << file << " is not a readable vector file" << (why.isEmpty() ? QString() : ": " + why)
            << "\n";
        return 1;
    }
    const int layerCount = dataSource->GetLayerCount();
    if (!layersGiven) {
        for (int i = 0; i < layerCount; ++i)
            indices.append(i);
    }
    for (int index : qAsConst(indices)) {
        if (index >= layerCount) {
            GDALClose(dataSource);
            return usage(err, QStringLiteral("%1 has %2 layers, there is no layer %3").arg(file).arg(layerCount).arg(index));
        }
    }

    kstWebMercatorProjection projection;
    kstTileResulotion resolution;
    kstVectorFileImport importer;
    importer.setCurrentMapViewConfig(&projection, &resolution, kViewLevel);

    // The importer's signals arrive queued on this thread, in the order sent.
    QEventLoop loop;
    QList<kstVectorLayer*> layers;
    ProgressBar bar(err);
    bool finished = false;
    QObject::connect(&importer, &kstVectorFileImport::layerImport, &loop,
                     [&layers](kstVectorLayer* layer) { layers.append(layer); });
    QObject::connect(&importer, &kstVectorFileImport::importProgress, &loop,
                     [&bar](int progress, const QString& detail) { bar.update(progress, detail); });
    QObject::connect(&importer, &kstVectorFileImport::importFinished, &loop, [&] {
        finished = true;
        loop.quit();
    });
    QObject::connect(&importer, &kstVectorFileImport::importStoped, &loop, &QEventLoop::quit);
    g_bar = &bar;
    g_previousHandler = qInstallMessageHandler(messageBesideBar);
    importer.startImport(dataSource, indices);
    loop.exec();
    bar.finish();
    qInstallMessageHandler(g_previousHandler);
    g_bar = nullptr;

    int collects = 0;
    for (const kstVectorLayer* layer : qAsConst(layers))
        collects += layer->m_collects.size();
    for (int i = 0; i < layers.size(); ++i)
        describeLayer(i, *layers.at(i), out);
    const bool saved = kstVectorLayer::saveLayers(layers, output);
    if (saved)
        out << file << ": " << layers.size() << " layers, " << collects << " collects written to " << output << "\n";
    else
        err << "kstvector: cannot write " << output << "\n";
    out.flush();
    for (kstVectorLayer* layer : qAsConst(layers))
        kstVectorLayer::destoryLayer(layer);
    return saved && finished ? 0 : 1;
}
