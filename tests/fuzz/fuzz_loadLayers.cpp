// libFuzzer target: every input is written to one file and read back as a
// layers file. The reader must neither crash, leak, hang nor allocate beyond
// what the input's own size allows, whatever the bytes are.
#include "kstFuzzSupport.h"
#include "kstVectorLayer.h"

#include <QFile>

#include <cstdint>

using namespace Kestrum;

namespace {

QString g_file;

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // One file, rewritten for every input.
    g_file = QDir(startFuzzTarget("fuzz_loadLayers")).filePath(QStringLiteral("input.kst"));
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
