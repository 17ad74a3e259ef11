#include "kstDemoExportDialog.h"
#include "kstDemoWindow.h"

#include "VectorFileExportFactory.h"
#include "kstTextCode.h"
#include "kstTileMapView.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QPixmap>
#include <QTimer>

#include <cstdio>

namespace {

// Without a display the demo renders on the offscreen platform and, unless
// told otherwise, leaves a screenshot behind instead of waiting for input.
bool useOffscreen()
{
    return qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY")
        && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

int saveScreenshot(QWidget* window, const QString& file)
{
    if (!window->grab().save(file)) {
        std::fprintf(stderr, "kstvector-demo: cannot write screenshot %s\n", qPrintable(file));
        return 1;
    }
    std::printf("kstvector-demo: screenshot written to %s\n", qPrintable(file));
    return 0;
}

// The shown layers exported as File > Export does it; true on a failure.
bool exportShown(kstDemoWindow& window, const QString& file, const QString& format)
{
    int type = -1;
    for (int t = 0; t < 9; ++t) {
        if (Kestrum::VectorFileExportFactory::formatString(Kestrum::VectorFileExportFactory::Export_Type(t))
                .compare(format, Qt::CaseInsensitive)
            == 0)
            type = t;
    }
    QString message = QStringLiteral("unknown format %1").arg(format);
    const bool done = type >= 0
        && kstDemoExportDialog::exportLayers(window.layers(), type, Kestrum::kstTextCode::UTF_8, file, &window,
                                             &message);
    std::printf("kstvector-demo: %s\n", qPrintable(message));
    return !done;
}

} // namespace

int main(int argc, char* argv[])
{
    const bool offscreen = useOffscreen();
    if (offscreen)
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("kstvector-demo"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Vector editing demo on a map view."));
    parser.addHelpOption();
    const QCommandLineOption screenshotOption(QStringLiteral("screenshot"),
                                              QStringLiteral("Render the window, save it as a PNG file and exit."),
                                              QStringLiteral("file"));
    parser.addOption(screenshotOption);
    const QCommandLineOption saveOption(QStringLiteral("save"),
                                        QStringLiteral("Save the shown layers to a layers file and go on."),
                                        QStringLiteral("file"));
    parser.addOption(saveOption);
    const QCommandLineOption importOption(QStringLiteral("import"),
                                          QStringLiteral("Import a GIS file (default: the bundled world countries)."),
                                          QStringLiteral("file"));
    parser.addOption(importOption);
    const QCommandLineOption exportOption(QStringLiteral("export"),
                                          QStringLiteral("Export the shown layers as File > Export does, then read "
                                                         "the file back."),
                                          QStringLiteral("file"));
    parser.addOption(exportOption);
    const QCommandLineOption exportFormatOption(QStringLiteral("export-format"),
                                                QStringLiteral("Format of --export (default GeoPackage)."),
                                                QStringLiteral("name"), QStringLiteral("GeoPackage"));
    parser.addOption(exportFormatOption);
    const QCommandLineOption noSampleOption(QStringLiteral("no-sample"), QStringLiteral("Start without sample data."));
    parser.addOption(noSampleOption);
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("A layers file to open."));
    parser.process(app);

    QString screenshot = parser.value(screenshotOption);
    if (screenshot.isEmpty() && offscreen)
        screenshot = QStringLiteral("kstvector-demo.png");

    kstDemoWindow window;
    window.resize(1200, 800);
    window.show();
    QApplication::processEvents();
    if (!parser.positionalArguments().isEmpty() && !window.openLayers(parser.positionalArguments().first()))
        std::fprintf(stderr, "kstvector-demo: cannot open %s\n", qPrintable(parser.positionalArguments().first()));
    // Without a layers file the demo shows the bundled world countries.
    QString importPath = parser.value(importOption);
    if (importPath.isEmpty() && parser.positionalArguments().isEmpty() && !parser.isSet(noSampleOption))
        importPath = QStringLiteral(KST_SAMPLE_DATA_DIR "/world-countries.geojson");
    const bool importing = !importPath.isEmpty() && window.importFile(importPath);
    if (parser.isSet(saveOption) && !window.saveLayers(parser.value(saveOption)))
        std::fprintf(stderr, "kstvector-demo: cannot save %s\n", qPrintable(parser.value(saveOption)));
    if (screenshot.isEmpty())
        return app.exec();

    int result = 0;
    const auto shoot = [&] {
        if (parser.isSet(exportOption) && exportShown(window, parser.value(exportOption), parser.value(exportFormatOption)))
            result = 1;
        QTimer::singleShot(300, &app, [&] {
            result = saveScreenshot(&window, screenshot) || result;
            app.quit();
        });
    };
    if (importing)
        QObject::connect(&window, &kstDemoWindow::imported, &app, shoot);
    else
        shoot();
    app.exec();
    return result;
}
