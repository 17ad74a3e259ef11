#include "kstConvertCommand.h"

#include "kstCommandLine.h"

#include "kstExportCommand.h"
#include "kstImportCommand.h"
#include "kstProgressBar.h"
#include "kstVectorLayer.h"

#include <QTextStream>

#include <cpl_error.h>
#include <gdal_priv.h>

using namespace Kestrum;

namespace {

int usage(QTextStream& err, const QString& problem)
{
    err << "kstvector convert: " << problem << "\n"
        << "usage: kstvector convert IN -o OUT --format NAME [--charset NAME]\n";
    return 2;
}

} // namespace

int kstConvertCommand::run(const QStringList& args, QTextStream& out, QTextStream& err)
{
    out.setCodec("UTF-8");
    err.setCodec("UTF-8");
    QString input, output, formatName;
    kstTextCode::CharSet charset = kstTextCode::UTF_8;
    for (int i = 0; i < args.size(); ++i) {
        const QString& arg = args.at(i);
        const bool valued =
            arg == QLatin1String("--format") || arg == QLatin1String("-o") || arg == QLatin1String("--charset");
        if (valued && i + 1 >= args.size())
            return usage(err, arg + QStringLiteral(" needs a value"));
        if (arg == QLatin1String("--format")) {
            formatName = args.at(++i);
        } else if (arg == QLatin1String("-o")) {
            output = args.at(++i);
        } else if (arg == QLatin1String("--charset")) {
            if (!kstExportCommand::charsetOf(args.at(++i), charset))
                return usage(err, QStringLiteral("unknown character set \"%1\"").arg(args.at(i)));
        } else if (arg.startsWith(QLatin1Char('-')) || !input.isEmpty()) {
            return usage(err, QStringLiteral("unexpected argument \"%1\"").arg(arg));
        } else {
            input = arg;
        }
    }
    if (input.isEmpty() || output.isEmpty() || formatName.isEmpty())
        return usage(err, QStringLiteral("IN, --format and -o are needed"));
    const int type = kstExportCommand::formatType(formatName);
    if (type < 0)
        return usage(err, QStringLiteral("unknown format \"%1\" (see kstvector formats)").arg(formatName));

    GDALDataset* dataSource = kstCommandLine::openVectorFile(input, err);
    if (!dataSource)
        return 1;
    QList<int> indices;
    for (int i = 0; i < dataSource->GetLayerCount(); ++i)
        indices.append(i);
    bool finished = false;
    QList<kstVectorLayer*> layers;
    {
        kstProgressBar bar(err);
        layers = kstImportCommand::importLayers(dataSource, indices, bar, &finished);
    }
    int code = 1;
    if (finished)
        code = kstExportCommand::exportLayers(layers, type, output, charset, out, err);
    else
        err << "kstvector: " << input << " could not be read to its end\n";
    for (kstVectorLayer* layer : qAsConst(layers))
        kstVectorLayer::destoryLayer(layer);
    return code;
}
