#include "kstDemoWindow.h"

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
        QTimer::singleShot(300, &app, [&] {
            result = saveScreenshot(&window, screenshot);
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
