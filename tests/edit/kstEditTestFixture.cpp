#include "kstEditTestFixture.h"

#include "kstVectorCollect.h"
#include "kstVectorLayer.h"
#include "kstVectorShape.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QMouseEvent>
#include <QtTest>

#include <cmath>

using namespace Kestrum;

EditFixture::EditFixture(const GCP& center, int level)
    : m_layer(new SnapEditLayer)
    , m_scene(center, level, m_layer)
    , m_data(kstVectorLayer::newLayer())
{
    m_layer->insertLayer(m_data, 0);
    m_layer->resetZLevel();
    QObject::connect(m_layer, &kstVectorEditLayer::collectCreate, m_layer, [this](kstVectorCollect* collect) {
        collect->m_layer = m_data;
        collect->m_fid = m_data->genFid();
        m_layer->insertCollect(collect);
        m_created.append(collect);
    });
}

EditFixture::~EditFixture()
{
    for (kstVectorLayer* layer : QList<kstVectorLayer*>{m_data} + m_extraLayers) {
        m_layer->removeLayer(layer);
        kstVectorLayer::destoryLayer(layer);
    }
}

kstVectorShape* EditFixture::add(kstVectorShape* shape, kstVectorCollect* collect)
{
    if (!collect) {
        collect = kstVectorCollect::newCollect();
        collect->m_layer = m_data;
        collect->m_fid = m_data->genFid();
    }
    shape->setShapeCollect(collect, collect->m_shapes.size());
    collect->m_shapes.append(shape);
    if (collect->m_shapes.size() == 1)
        m_layer->insertCollect(collect);
    else
        m_layer->insertShape(shape, collect->m_shapes.size() - 1);
    m_layer->resetZLevel();
    return shape;
}

kstVectorLayer* EditFixture::addLayer()
{
    kstVectorLayer* layer = kstVectorLayer::newLayer();
    m_extraLayers.append(layer);
    m_layer->insertLayer(layer, m_layer->layers().size());
    m_layer->resetZLevel();
    return layer;
}

void EditFixture::click(const QPoint& p, Qt::KeyboardModifiers modifiers)
{
    QTest::mouseClick(view().viewport(), Qt::LeftButton, modifiers, p);
}

void EditFixture::clickEach(const QList<QPoint>& points)
{
    for (const QPoint& p : points) {
        hover(p);
        click(p);
    }
}

void EditFixture::press(const QPoint& p)
{
    QTest::mousePress(view().viewport(), Qt::LeftButton, Qt::NoModifier, p);
}

void EditFixture::release(const QPoint& p)
{
    QTest::mouseRelease(view().viewport(), Qt::LeftButton, Qt::NoModifier, p);
}

void EditFixture::hover(const QPoint& p)
{
    QMouseEvent move(QEvent::MouseMove, p, view().viewport()->mapToGlobal(p), Qt::NoButton, Qt::NoButton,
                     Qt::NoModifier);
    QApplication::sendEvent(view().viewport(), &move);
}

void EditFixture::dragTo(const QPoint& p)
{
    QMouseEvent move(QEvent::MouseMove, p, view().viewport()->mapToGlobal(p), Qt::NoButton, Qt::LeftButton,
                     Qt::NoModifier);
    QApplication::sendEvent(view().viewport(), &move);
}

void EditFixture::drag(const QPoint& from, const QPoint& to, int steps)
{
    press(from);
    for (int i = 1; i <= steps; ++i)
        dragTo(from + (to - from) * i / steps);
    release(to);
}

void EditFixture::doubleClick(const QPoint& p)
{
    click(p);
    QTest::mouseDClick(view().viewport(), Qt::LeftButton, Qt::NoModifier, p);
    release(p);
}

void EditFixture::rightClick(const QPoint& p)
{
    // The press is not taken by the edit layer; the menu event carries the click.
    const QPoint global = view().viewport()->mapToGlobal(p);
    QMouseEvent press(QEvent::MouseButtonPress, p, global, Qt::RightButton, Qt::RightButton, Qt::NoModifier);
    QApplication::sendEvent(view().viewport(), &press);
    QMouseEvent release(QEvent::MouseButtonRelease, p, global, Qt::RightButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(view().viewport(), &release);
    QContextMenuEvent menu(QContextMenuEvent::Mouse, p, view().viewport()->mapToGlobal(p));
    QApplication::sendEvent(view().viewport(), &menu);
}

QPointF EditFixture::itemPos(const QPoint& p) const
{
    return m_layer->mapFromScene(view().mapToScene(p));
}

namespace {
constexpr double kR = 6378137.0;
constexpr double kPi = 3.141592653589793;

double metresPerPixel(int level)
{
    return 2 * kPi * kR / (256.0 * std::pow(2.0, level));
}
} // namespace

QPointF EditFixture::pixOf(const GCP& gcp) const
{
    const double mpp = metresPerPixel(view().level());
    const double x = kR * gcp.lon() * kPi / 180.0;
    const double y = kR * std::log(std::tan(kPi / 4 + gcp.lat() * kPi / 360.0));
    const PCP lt = view().currentLeftTopPcp();
    return QPointF((x - lt.x()) / mpp, (lt.y() - y) / mpp);
}

GCP EditFixture::expectedGcp(const QPointF& viewportPix) const
{
    const double mpp = metresPerPixel(view().level());
    const PCP lt = view().currentLeftTopPcp();
    const double x = lt.x() + viewportPix.x() * mpp;
    const double y = lt.y() - viewportPix.y() * mpp;
    return GCP(x / kR * 180.0 / kPi, (2 * std::atan(std::exp(y / kR)) - kPi / 2) * 180.0 / kPi);
}
