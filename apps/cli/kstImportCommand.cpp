#include "kstImportCommand.h"

#include "kstCommandLine.h"
#include "kstProgressBar.h"
#include "kstTextCode.h"
#include "kstTileResulotion.h"
#include "kstVectorCollect.h"
#include "kstVectorFileImport.h"
#include "kstVectorLayer.h"
#include "kstVectorShape.h"
#include "kstWebMercatorProjection.h"

#include <QEventLoop>
#include <QFileInfo>
#include <QMap>
#include <QTextStream>

#include <cpl_error.h>
#include <gdal.h>
#include <gdal_priv.h>

using namespace Kestrum;

namespace {

// Zoom level of the map view the imported shapes are prepared for.
constexpr int kViewLevel = 12;

void describeLayer(int index, const kstVectorLayer& layer, QTextStream& out)
{
    QString kinds;
    const int shapes = kstCommandLine::countShapes(layer, kinds);
    QStringList labels;
    for (const kstVectorCollect* collect : layer.m_collects) {
        if (labels.size() == 3)
            break;
        if (!collect->m_text.isEmpty())
            labels.append(collect->m_text);
    }
    out << "layer " << index << ": \"" << layer.m_name << "\", " << layer.m_collects.size() << " collects, "
        << shapes << " shapes" << kinds << ", character set "
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

QList<kstVectorLayer*> kstImportCommand::importLayers(GDALDataset* dataSource, const QList<int>& indices,
                                                      kstProgressBar& bar, bool* finished)
{
    kstWebMercatorProjection projection;
    kstTileResulotion resolution;
    kstVectorFileImport importer;
    importer.setCurrentMapViewConfig(&projection, &resolution, kViewLevel);

    // The importer's signals arrive queued on this thread, in the order sent.
    QEventLoop loop;
    QList<kstVectorLayer*> layers;
    *finished = false;
    QObject::connect(&importer, &kstVectorFileImport::layerImport, &loop,
                     [&layers](kstVectorLayer* layer) { layers.append(layer); });
    QObject::connect(&importer, &kstVectorFileImport::importProgress, &loop,
                     [&bar](int progress, const QString& detail) { bar.update(progress, detail); });
    QObject::connect(&importer, &kstVectorFileImport::importFinished, &loop, [&] {
        *finished = true;
        loop.quit();
    });
    QObject::connect(&importer, &kstVectorFileImport::importStoped, &loop, &QEventLoop::quit);
    importer.startImport(dataSource, indices);
    loop.exec();
    bar.finish();
    return layers;
}

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
            QString bad;
            if (!kstCommandLine::layerIndices(value, indices, bad))
                return usage(err, QStringLiteral("bad layer index \"%1\"").arg(bad));
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

    GDALDataset* dataSource = kstCommandLine::openVectorFile(file, err);
    if (!dataSource)
        return 1;
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

    bool finished = false;
    QList<kstVectorLayer*> layers;
    {
        kstProgressBar bar(err);
        layers = importLayers(dataSource, indices, bar, &finished);
    }

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
