#include "kstConvertCommand.h"
#include "kstExportCommand.h"
#include "kstImportCommand.h"
#include "kstInfoCommand.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QTextStream>

#include <cstdio>

namespace {

int usage(QTextStream& err)
{
    err << "usage: kstvector info FILE\n"
           "       kstvector import FILE [--layers i,j] [-o OUT]\n"
           "       kstvector export LAYERSFILE --format NAME -o OUT [--charset NAME] [--layers i,j]\n"
           "       kstvector convert IN -o OUT --format NAME [--charset NAME]\n"
           "       kstvector formats\n"
           "  info FILE     describe the layers, collects, shapes, fields and extent of a layers file\n"
           "  import FILE   read the layers of a GIS vector file (or those at the indices given)\n"
           "                into a layers file, OUT or FILE's base name + .kst\n"
           "  export        write the layers of a layers file (or those at the indices given) to a\n"
           "                GIS vector file; Ctrl-C stops it and keeps what was written\n"
           "  convert       import a GIS vector file and export its layers to another format\n"
           "  formats       list the format names that export and convert take\n";
    return 2;
}

// Describing a layers file and listing formats read values only; importing,
// exporting and converting build or paint shapes, whose labels measure text
// with fonts and whose markers are pictures, and so need a GUI application
// (never a display: the offscreen platform does).
bool needsGui(int argc, char* argv[])
{
    return argc >= 2 && qstrcmp(argv[1], "info") != 0 && qstrcmp(argv[1], "formats") != 0;
}

// Layers carry a marker picture and a label font, which a core application
// leaves null and default. Qt says so for every layer; that says nothing
// about the file, so those notes are dropped and all other messages kept.
QtMessageHandler g_defaultHandler = nullptr;

void withoutGuiNotes(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    static const char* const notes[] = {"QPixmap::fromImage", "QPixmap::fromImageInPlace", "QGuiApplication::font()"};
    for (const char* note : notes) {
        if (type == QtWarningMsg && message.startsWith(QLatin1String(note)))
            return;
    }
    g_defaultHandler(type, context, message);
}

int run(const QStringList& args)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    if (args.size() == 3 && args.at(1) == QLatin1String("info"))
        return kstInfoCommand::run(args.at(2), out, err);
    if (args.size() >= 3 && args.at(1) == QLatin1String("import"))
        return kstImportCommand::run(args.mid(2), out, err);
    if (args.size() >= 3 && args.at(1) == QLatin1String("export"))
        return kstExportCommand::run(args.mid(2), out, err);
    if (args.size() >= 3 && args.at(1) == QLatin1String("convert"))
        return kstConvertCommand::run(args.mid(2), out, err);
    if (args.size() == 2 && args.at(1) == QLatin1String("formats"))
        return kstExportCommand::formats(out);
    return usage(err);
}

} // namespace

int main(int argc, char* argv[])
{
    if (!needsGui(argc, argv)) {
        QCoreApplication app(argc, argv);
        g_defaultHandler = qInstallMessageHandler(withoutGuiNotes);
        return run(app.arguments());
    }
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    return run(app.arguments());
}
