// Writes seed inputs for fuzz_importStyle into a directory: every geometry
// kind with point, line, polygon and reference styles, symbols of the kinds
// the fuzzer's symbol folder holds, and extreme lengths and coordinates.
//
//   fuzz_make_import_seeds <corpus directory>
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>

#include <ogr_geometry.h>

#include <cstdio>
#include <memory>

namespace {

QByteArray wkb(const char* wkt)
{
    OGRGeometry* geometry = nullptr;
    if (OGRGeometryFactory::createFromWkt(wkt, nullptr, &geometry) != OGRERR_NONE)
        return QByteArray();
    QByteArray bytes(int(geometry->WkbSize()), '\0');
    geometry->exportToWkb(wkbNDR, reinterpret_cast<unsigned char*>(bytes.data()), wkbVariantIso);
    OGRGeometryFactory::destroyGeometry(geometry);
    return bytes;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc != 2 || !QDir().mkpath(QString::fromLocal8Bit(argv[1]))) {
        std::fprintf(stderr, "usage: fuzz_make_import_seeds <corpus directory>\n");
        return 2;
    }
    const char* points[] = {"POINT(116 40)", "MULTIPOINT((1 2),(3 4),(5 6))", "POINT(1e300 -1e300)", "POINT(0 -90)"};
    const char* lines[] = {"LINESTRING(0 0,1 1,2 0)", "MULTILINESTRING((0 0,1 1),(2 2,3 3))",
                           "GEOMETRYCOLLECTION(POINT(1 1),LINESTRING(0 0,1 1))"};
    const char* polygons[] = {"POLYGON((0 0,1 0,1 1,0 0),(0.1 0.1,0.2 0.1))",
                              "MULTIPOLYGON(((0 0,1 0,1 1,0 0)),((2 2,3 2,3 3,2 2)))"};
    const char* pointStyles[] = {"SYMBOL(id:\"s.png\")", "SYMBOL(id:\"l.png\",dx:5px,dy:3px)",
                                 "SYMBOL(id:\"l.bmp\",dx:1e20px,dy:-1e20px)", "SYMBOL(id:\"fifo\")",
                                 "SYMBOL(id:\"../source/s.png\")", "SYMBOL(id:\"out\")", "SYMBOL(id:\"d\")",
                                 "SYMBOL(id:\"t.png\");PEN(c:#ff0000)", "PEN(c:#00ff00,w:1e20px)",
                                 "BRUSH(fc:#ff0000);PEN(c:#00ff00,w:7mm)", "{STYLE}"};
    const char* otherStyles[] = {"PEN(c:#ff000080,w:3px,id:\"ogr-pen-2\",cap:r,j:m)",
                                 "BRUSH(fc:#ff0000,id:\"ogr-brush-4\");PEN(c:#000000,w:infpx)",
                                 "PEN(w:-5px,p:\"4px 2px\")", "@Missing", "LABEL(t:\"x\");PEN(c:#123)"};
    int n = 0;
    auto write = [&](char reference, const char* style, const char* wkt) {
        const QByteArray bytes = QByteArray(1, reference) + QByteArray(style) + QByteArray(1, '\0') + wkb(wkt);
        QFile file(QDir(QString::fromLocal8Bit(argv[1])).filePath(QStringLiteral("seed_%1").arg(n++)));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
    };
    bool ok = true;
    for (const char* style : pointStyles)
        for (const char* wkt : points)
            ok = write(1, style, wkt) && ok;
    for (const char* style : otherStyles) {
        for (const char* wkt : lines)
            ok = write(2, style, wkt) && ok;
        for (const char* wkt : polygons)
            ok = write(0, style, wkt) && ok;
    }
    ok = write(3, "PEN(c:#ff0000)", "POINT(10 20)") && ok;
    return ok ? 0 : 1;
}
