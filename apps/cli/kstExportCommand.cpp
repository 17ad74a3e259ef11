#include "kstExportCommand.h"

#include "VectorFileExportFactory.h"
#include "kstCommandLine.h"
#include "kstProgressBar.h"
#include "kstVectorCollect.h"
#include "kstVectorFileExport.h"
#include "kstVectorLayer.h"

#include <QEventLoop>
#include <QTextStream>
#include <QTimer>

#include <gdal_priv.h>
#include <ogr_spatialref.h>

#include <csignal>
#include <memory>

using namespace Kestrum;

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

void onInterrupt(int)
{
    g_interrupted = 1;
}

// Ctrl-C only raises a flag while it is installed; the event loop looks at
// the flag and stops the export from the main thread.
class InterruptGuard
{
public:
    InterruptGuard()
    {
        g_interrupted = 0;
        struct sigaction action = {};
        action.sa_handler = onInterrupt;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &m_previous);
    }
    ~InterruptGuard() { sigaction(SIGINT, &m_previous, nullptr); }

private:
    struct sigaction m_previous = {};
};

int usage(QTextStream& err, const QString& problem)
{
    err << "kstvector export: " << problem << "\n"
        << "usage: kstvector export LAYERSFILE --format NAME -o OUT [--charset NAME] [--layers i,j]\n"
        << "       kstvector formats   (the format names)\n";
    return 2;
}

// Typical file name of each format's output, for the listing.
const char* const kTargets[] = {"a folder (one .shp per layer) or a .shp file",
                                 ".kml",
                                 ".dxf",
                                 ".geojson (all layers in one)",
                                 ".gpx (points, lines and multi-lines)",
                                 "a folder (one .tab per layer) or a .tab file",
                                 "a folder (one .mif per layer) or a .mif file",
                                 ".sqlite",
                                 ".gpkg"};

} // namespace

int kstExportCommand::formatType(const QString& name)
{
    for (int type = VectorFileExportFactory::Export_SHP; type <= VectorFileExportFactory::Export_GeoPackage; ++type) {
        if (VectorFileExportFactory::formatString(VectorFileExportFactory::Export_Type(type))
                .compare(name, Qt::CaseInsensitive)
            == 0)
            return type;
    }
    return -1;
}

bool kstExportCommand::charsetOf(const QString& name, kstTextCode::CharSet& charset)
{
    for (int cs = 0; cs <= kstTextCode::UCS_4LE; ++cs) {
        if (kstTextCode::charsetString(kstTextCode::CharSet(cs)).compare(name, Qt::CaseInsensitive) == 0) {
            charset = kstTextCode::CharSet(cs);
            return true;
        }
    }
    return false;
}

int kstExportCommand::formats(QTextStream& out)
{
    out.setCodec("UTF-8");
    for (int type = VectorFileExportFactory::Export_SHP; type <= VectorFileExportFactory::Export_GeoPackage; ++type)
        out << QStringLiteral("%1  %2\n")
                   .arg(VectorFileExportFactory::formatString(VectorFileExportFactory::Export_Type(type)), -18)
                   .arg(QString::fromLatin1(kTargets[type]));
    out.flush();
    return 0;
}

int kstExportCommand::exportLayers(const QList<kstVectorLayer*>& layers, int type, const QString& output,
                                   kstTextCode::CharSet charset, QTextStream& out, QTextStream& err)
{
    GDALAllRegister();
    const std::unique_ptr<kstVectorFileExport> exporter(
        VectorFileExportFactory::create(VectorFileExportFactory::Export_Type(type)));
    OGRSpatialReference wgs84;
    wgs84.SetWellKnownGeogCS("WGS84");
    wgs84.SetAxisMappingStrategy(OAMS_TRADITIONAL_GIS_ORDER);
    exporter->setExportSpatialRef(&wgs84);
    exporter->setExportCharset(charset);

    // The exporter's signals arrive queued on this thread, in the order sent.
    QEventLoop loop;
    QString failure;
    bool finished = false;
    bool stopped = false;
    {
        kstProgressBar bar(err);
        const InterruptGuard interrupt;
        QObject::connect(exporter.get(), &kstVectorFileExport::exportProgress, &loop,
                         [&bar](int progress, const QString& detail) { bar.update(progress, detail); });
        QObject::connect(exporter.get(), &kstVectorFileExport::exportFinished, &loop, [&] {
            finished = true;
            loop.quit();
        });
        QObject::connect(exporter.get(), &kstVectorFileExport::exportStoped, &loop, [&] {
            stopped = true;
            loop.quit();
        });
        QObject::connect(exporter.get(), &kstVectorFileExport::exportFailed, &loop, [&](const QString& detail) {
            failure = detail;
            loop.quit();
        });
        QTimer watch;
        QObject::connect(&watch, &QTimer::timeout, &loop, [&] {
            if (g_interrupted && exporter->isExportting())
                exporter->stopExport(); // returns once the worker has; its last signal follows
        });
        watch.start(50);
        exporter->startExport(output, layers);
        loop.exec();
    }
    if (!failure.isEmpty()) {
        err << "kstvector: " << failure << "\n";
        return 1;
    }
    int collects = 0;
    for (const kstVectorLayer* layer : layers)
        collects += layer->m_collects.size();
    const QString format = VectorFileExportFactory::formatString(VectorFileExportFactory::Export_Type(type));
    if (stopped) {
        err << "kstvector: export stopped; " << output << " holds what was written so far\n";
        return 130;
    }
    out << layers.size() << " layers, " << collects << " collects written to " << output << " (" << format << ")\n";
    out.flush();
    return finished ? 0 : 1;
}

int kstExportCommand::run(const QStringList& args, QTextStream& out, QTextStream& err)
{
    out.setCodec("UTF-8");
    err.setCodec("UTF-8");
    QString file, output, formatName;
    kstTextCode::CharSet charset = kstTextCode::UTF_8;
    QList<int> indices;
    for (int i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        const bool valued = arg == QLatin1String("--format") || arg == QLatin1String("-o")
            || arg == QLatin1String("--charset") || arg == QLatin1String("--layers");
        if (valued && i + 1 >= args.size())
            return usage(err, arg + QStringLiteral(" needs a value"));
        if (arg == QLatin1String("--format")) {
            formatName = args.at(++i);
        } else if (arg == QLatin1String("-o")) {
            output = args.at(++i);
        } else if (arg == QLatin1String("--charset")) {
            if (!charsetOf(args.at(++i), charset))
                return usage(err, QStringLiteral("unknown character set \"%1\"").arg(args.at(i)));
        } else if (arg == QLatin1String("--layers")) {
            QString bad;
            if (!kstCommandLine::layerIndices(args.at(++i), indices, bad))
                return usage(err, QStringLiteral("bad layer index \"%1\"").arg(bad));
        } else if (arg.startsWith(QLatin1Char('-')) || !file.isEmpty()) {
            return usage(err, QStringLiteral("unexpected argument \"%1\"").arg(arg));
        } else {
            file = arg;
        }
    }
    if (file.isEmpty() || output.isEmpty() || formatName.isEmpty())
        return usage(err, QStringLiteral("a layers file, --format and -o are needed"));
    const int type = formatType(formatName);
    if (type < 0)
        return usage(err, QStringLiteral("unknown format \"%1\"").arg(formatName));

    QList<kstVectorLayer*> layers;
    if (!kstVectorLayer::loadLayers(layers, file)) {
        err << "kstvector: " << file << " is not a readable layers file\n";
        for (kstVectorLayer* layer : qAsConst(layers))
            kstVectorLayer::destoryLayer(layer);
        return 1;
    }
    QList<kstVectorLayer*> chosen = layers;
    if (!indices.isEmpty()) {
        chosen.clear();
        for (int index : qAsConst(indices)) {
            if (index >= layers.size()) {
                for (kstVectorLayer* layer : qAsConst(layers))
                    kstVectorLayer::destoryLayer(layer);
                return usage(err, QStringLiteral("%1 has %2 layers, there is no layer %3")
                                      .arg(file).arg(layers.size()).arg(index));
            }
            chosen.append(layers.at(index));
        }
    }
    const int code = exportLayers(chosen, type, output, charset, out, err);
    for (kstVectorLayer* layer : qAsConst(layers))
        kstVectorLayer::destoryLayer(layer);
    return code;
}
