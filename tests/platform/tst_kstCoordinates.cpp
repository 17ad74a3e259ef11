#include "kstCorrection.h"
#include "kstGeographicalCoordinatesPoint.h"
#include "kstGeometryRecords.h"
#include "kstPlaneCoordinatesPoint.h"
#include "kstTileResulotion.h"
#include "kstWebMercatorProjection.h"
#include "kstWindowCoordinatesPoint.h"

#include <QtTest>

using namespace Kestrum;

class tst_kstCoordinates : public QObject
{
    Q_OBJECT

private slots:
    void webMercatorMatchesEpsg3857();
    void pixelConversionsAreExactInverses();
    void recordsAndPointsStreamBackExactly();
};

void tst_kstCoordinates::webMercatorMatchesEpsg3857()
{
    const kstWebMercatorProjection proj;
    // Reference values of EPSG:3857 (spherical Mercator on R = 6378137 m),
    // the second pair as PROJ (gdaltransform) gives it.
    QCOMPARE(GCP(180, 0).toPcp(&proj).x(), 20037508.342789244);
    QVERIFY(qAbs(GCP(0, 85.05112877980659).toPcp(&proj).y() - 20037508.342789244) < 1e-6);
    const PCP beijing = GCP(116.391, 39.907).toPcp(&proj);
    QVERIFY(qAbs(beijing.x() - 12956586.8529199) < 1e-6);
    QVERIFY(qAbs(beijing.y() - 4852436.96199125) < 1e-6);

    // Round trips across the valid area.
    for (double lon = -180; lon <= 180; lon += 22.5) {
        for (double lat = -85; lat <= 85; lat += 8.5) {
            const GCP back = GCP(lon, lat).toPcp(&proj).toGcp(&proj);
            QVERIFY(qAbs(back.lon() - lon) < 1e-12);
            QVERIFY(qAbs(back.lat() - lat) < 1e-12);
        }
    }

    QCOMPARE(proj.ltGcp(), GCP(-180, 85.05112877980659));
    QCOMPARE(proj.rbGcp(), GCP(180, -85.05112877980659));
    QVERIFY(proj.isValidGcp(GCP(180, -85.05112877980659)));
    QVERIFY(!proj.isValidGcp(GCP(0, 86)));
    QVERIFY(!proj.isValidGcp(GCP(-180.0001, 0)));

    const kstTileResulotion res;
    QCOMPARE(res.mpp(0).x, 2 * 20037508.342789244 / 256);
    QCOMPARE(res.mpp(22).y, res.mpp(0).y / (1 << 22));
}

void tst_kstCoordinates::pixelConversionsAreExactInverses()
{
    const kstTileResulotion res;
    const kstMeterPerPixle__ mpp = res.mpp(7);
    const PCP lt(-1234567.25, 987654.5);

    // Pixel y grows downwards while plane y grows northwards.
    const kstWindowCoordinatesPoint pix = PCP(lt.x() + 10 * mpp.x, lt.y() - 20 * mpp.y).toPix(mpp, lt);
    QCOMPARE(QPointF(pix), QPointF(10, 20));
    QCOMPARE(QPointF(PCP(1, 2).toPix(&res, 7, lt)), QPointF(PCP(1, 2).toPix(mpp, lt)));

    // rbPcp and WCP::toPcp undo toPix; the samples are chosen so that the
    // arithmetic is exact in binary floating point.
    for (int i = -4; i <= 4; ++i) {
        const QPointF p(i * 64.5, -i * 32.25);
        const PCP plane = kstWindowCoordinatesPoint(p).toPcp(mpp, lt);
        QCOMPARE(plane, lt.rbPcp(mpp, QSizeF(p.x(), p.y())));
        QCOMPARE(QPointF(plane.toPix(mpp, lt)), p);
    }
    // And within rounding for arbitrary values.
    const PCP far(3.1e6, -2.7e6);
    const PCP back = kstWindowCoordinatesPoint(far.toPix(mpp, lt)).toPcp(mpp, lt);
    QVERIFY(qAbs(back.x() - far.x()) < 1e-8 && qAbs(back.y() - far.y()) < 1e-8);

    const kstIdentityCorrection identity;
    QCOMPARE(identity.correctIn(GCP(1.5, 2.5)), GCP(1.5, 2.5));
    QCOMPARE(identity.correctOut(GCP(1.5, 2.5)), GCP(1.5, 2.5));
}

void tst_kstCoordinates::recordsAndPointsStreamBackExactly()
{
    Polygon__ polygon;
    polygon.outer << QPointF(0, 0) << QPointF(10, 0) << QPointF(10, 10);
    polygon.inner << (QPolygonF() << QPointF(1, 1) << QPointF(2, 1) << QPointF(2, 2));
    Circle__ circle;
    circle.center = QPointF(116.4, 39.9);
    circle.ring << QPointF(116.5, 39.9) << QPointF(116.4, 40.0);
    const GCP gcp(116.123456789012, -33.987654321098);

    QByteArray bytes;
    {
        QDataStream out(&bytes, QIODevice::WriteOnly);
        out.setVersion(QDataStream::Qt_5_15);
        out << polygon << circle << gcp << kstMeterPerPixle__(1.25, 2.5);
    }
    QDataStream in(bytes);
    in.setVersion(QDataStream::Qt_5_15);
    Polygon__ polygon2;
    Circle__ circle2;
    GCP gcp2;
    kstMeterPerPixle__ mpp2;
    in >> polygon2 >> circle2 >> gcp2 >> mpp2;
    QCOMPARE(in.status(), QDataStream::Ok);
    QVERIFY(in.atEnd());
    QCOMPARE(polygon2, polygon);
    QCOMPARE(circle2, circle);
    QCOMPARE(gcp2, gcp);
    QCOMPARE(mpp2, kstMeterPerPixle__(1.25, 2.5));

    // The point and lists of it travel in QVariant (and undo records) under their short names.
    QVERIFY(QMetaType::type("GCP") != QMetaType::UnknownType);
    QVERIFY(QMetaType::type("QList<GCP>") != QMetaType::UnknownType);
    const QVariant v = QVariant::fromValue(QList<GCP>{gcp, GCP()});
    QCOMPARE(v.value<QList<GCP>>().value(0), gcp);
    QCOMPARE(GCP(), GCP(0, 0));
}

QTEST_GUILESS_MAIN(tst_kstCoordinates)
#include "tst_kstCoordinates.moc"
