// libFuzzer target: every input is written to one file and read back as a
// layers file. The reader must neither crash, leak, hang nor allocate beyond
// what the input's own size allows, whatever the bytes are.
#include "kstVectorLayer.h"

#include <QDir>
#include <QFile>
#include <QFont>
#include <QFontInfo>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

using namespace Kestrum;

namespace {

QString g_file;

// The reader reports damaged files through qDebug; printing that for every
// input would slow the fuzzer down for nothing.
void quietMessages(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type == QtFatalMsg) {
        std::fprintf(stderr, "qFatal: %s\n", qPrintable(message));
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler(quietMessages);
    // Layers hold pixmaps, fonts and pens: they need a GUI application.
    static int argc = 1;
    static char name[] = "fuzz_loadLayers";
    static char* argv[] = {name, nullptr};
    static QGuiApplication* app = new QGuiApplication(argc, argv);
    Q_UNUSED(app);
    // Fontconfig reads its configuration once, on the first font lookup, and
    // keeps it: done here, that is not taken for a leak of the first input
    // that holds a font.
    QFontInfo(QFont(QStringLiteral("Sans"), 9)).family();

    // One file, rewritten for every input; in memory where /dev/shm exists.
    const QString base = QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm") : QDir::tempPath();
    static QTemporaryDir dir(base + QStringLiteral("/fuzz_loadLayers-XXXXXX"));
    if (!dir.isValid()) {
        std::fprintf(stderr, "no temporary directory under %s\n", qPrintable(base));
        std::abort();
    }
    g_file = dir.filePath(QStringLiteral("input.kst"));
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    {
        QFile file(g_file);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
            || file.write(reinterpret_cast<const char*>(data), qint64(size)) != qint64(size)) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(g_file));
            std::abort();
        }
    }

    kstGeographicalCoordinatesPoint lt, rb;
    kstVectorLayer::getLayersExtent(g_file, lt, rb);

    QList<kstVectorLayer*> layers;
    kstVectorLayer::loadLayers(layers, g_file);
    for (kstVectorLayer* layer : layers)
        kstVectorLayer::destoryLayer(layer);
    return 0;
}
