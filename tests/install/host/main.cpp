// A host application using the installed library.
#include <kstDistanceArea.h>
#include <kstTileMapView.h>
#include <kstVectorStyle.h>

#include <QApplication>
#include <QPointF>

#include <cmath>
#include <cstdio>

int main(int argc, char* argv[])
{
    QApplication app(argc, argv);
    Kestrum::kstTileMapView view;
    view.panAndZoom(Kestrum::GCP(116.39, 39.91), 10);

    const Kestrum::kstDistanceArea da;
    const double metres = da.distance(QPointF(116.39, 39.91), QPointF(121.47, 31.23), nullptr, nullptr);
    std::printf("Beijing to Shanghai: %.1f m, marker %dx%d\n", metres,
                Kestrum::kstVectorStyle::markerIcon.width(), Kestrum::kstVectorStyle::markerIcon.height());
    return (view.level() == 10 && std::abs(metres - 1067e3) < 10e3 && !Kestrum::kstVectorStyle::markerIcon.isNull()) ? 0 : 1;
}
