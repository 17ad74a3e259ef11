#pragma once

#include "kstVectorGlobal.h"
#include "kstGeometryRecords.h"

#include <QPointF>
#include <QPolygonF>
#include <QString>
#include <QVector>

class OGRGeometry;
class OGRLineString;
class OGRLinearRing;
class OGRPolygon;
class OGRMultiPolygon;
class OGRMultiLineString;

namespace Kestrum {

// Measures on an ellipsoid of revolution (WGS84 by default): geodesic distance
// and azimuths, the destination point of a geodesic, ring areas and path lengths,
// for point lists and OGR geometries, plus planar variants and display strings.
//
// Geographic points are QPointF with x = longitude and y = latitude in degrees.
// Lengths are in metres, areas in square metres, azimuths in radians clockwise
// from north. A value type: copies carry every field.
class KSTVECTOR_EXPORT kstDistanceArea
{
public:
    // The WGS84 ellipsoid.
    kstDistanceArea();
    // An ellipsoid given by its semi-axes in metres; a == b is a sphere.
    kstDistanceArea(double semiMajor, double semiMinor);
    kstDistanceArea(const kstDistanceArea&) = default;
    kstDistanceArea& operator=(const kstDistanceArea&) = default;

    double semiMajor() const { return m_semiMajor; }
    double semiMinor() const { return m_semiMinor; }
    double invFlattening() const { return m_invFlattening; }
    double ellipsoidArea() const { return m_ellipsoidArea; }

    // Geodesic distance p1 -> p2; -1 when the iteration does not converge
    // (nearly antipodal points). course1 receives the azimuth at p1 towards p2,
    // course2 the azimuth at p2 back towards p1; either may be null.
    double distance(const QPointF& p1, const QPointF& p2,
                    double* course1 = nullptr, double* course2 = nullptr) const;
    // Length of the segment p1 -> p2 in the points' own units, with its Qt angle
    // (angle1) and the angle mirrored about the y axis (angle2), in radians.
    double distanceFlat(const QPointF& p1, const QPointF& p2,
                        double* angle1 = nullptr, double* angle2 = nullptr) const;
    // The point reached from p1 after `distance` metres along the geodesic that
    // leaves p1 at `azimuth`; (0, 0) for a start point off the Web Mercator range.
    QPointF location(const QPointF& p1, double distance, double azimuth) const;

    // Areas are never negative and never depend on the ring's orientation.
    double area(const QVector<QPointF>& ring) const;
    double area(const QPolygonF& ring) const;
    double area(const Polygon__& polygon) const;
    double area(OGRGeometry* geometry) const;
    double area(OGRLinearRing* ring) const;
    double area(OGRPolygon* polygon) const;
    double area(OGRMultiPolygon* multiPolygon) const;
    // Shoelace area in the square of the points' units.
    double areaFlat(const QVector<QPointF>& ring) const;

    // Open path length (no closing segment).
    double perimeter(const QVector<QPointF>& points) const;
    // Closed ring length (the closing segment is added when missing).
    double perimeter(const QPolygonF& ring) const;
    // Outer ring plus every hole.
    double perimeter(const Polygon__& polygon) const;
    double perimeter(OGRGeometry* geometry) const;
    double perimeter(OGRLineString* line) const;
    // Closes the ring in place first.
    double perimeter(OGRLinearRing* ring) const;
    double perimeter(OGRPolygon* polygon) const;
    double perimeter(OGRMultiPolygon* multiPolygon) const;
    double perimeter(OGRMultiLineString* multiLine) const;

    // Display texts; unitWords selects Chinese unit words instead of symbols.
    static QString areaString(double area, bool unitWords);
    static QString lengthString(double length, bool unitWords);
    static QString degreeString(double radians, bool unitWords);

private:
    void computeAreaInit();
    double getQ(double x) const;
    double getQbar(double x) const;

    double m_semiMajor;
    double m_semiMinor;
    double m_invFlattening;
    double m_q1 = 0.0;
    double m_q2 = 0.0;
    double m_q3 = 0.0;
    double m_qbar0 = 0.0;
    double m_qbar1 = 0.0;
    double m_qbar2 = 0.0;
    double m_qbar3 = 0.0;
    double m_areaScale = 0.0;
    double m_qPole = 0.0;
    double m_ellipsoidArea = 0.0;
    double m_twoPi = 0.0;
};

} // namespace Kestrum
