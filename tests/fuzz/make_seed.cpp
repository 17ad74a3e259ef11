// Writes seed inputs for fuzz_loadLayers into a directory: a small layers
// file that holds every shape kind, attribute values of several types and
// non-default styles, and a file with no layer at all.
//
//   fuzz_make_seed <corpus directory>
#include "kstSampleLayer.h"

#include <QDir>
#include <QGuiApplication>

#include <cstdio>

using namespace Kestrum;

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus directory>\n", argv[0]);
        return 2;
    }
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QDir dir(QString::fromLocal8Bit(argv[1]));
    if (!QDir().mkpath(dir.path())) {
        std::fprintf(stderr, "cannot create %s\n", argv[1]);
        return 1;
    }

    QList<kstVectorLayer*> layers{fullLayer()};
    const bool full = kstVectorLayer::saveLayers(layers, dir.filePath(QStringLiteral("seed-all-kinds.kst")));
    kstVectorLayer::destoryLayer(layers.takeFirst());
    const bool empty = kstVectorLayer::saveLayers(layers, dir.filePath(QStringLiteral("seed-no-layer.kst")));
    if (!full || !empty) {
        std::fprintf(stderr, "cannot write the seeds into %s\n", argv[1]);
        return 1;
    }
    return 0;
}
