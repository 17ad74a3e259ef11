#pragma once

#include <QMainWindow>

class QLabel;

namespace Kestrum {
class kstTileMapView;
class kstPlaneCoordinatesPoint;
}

// The demo editor's main window: the map view, zoom actions and a status
// bar with the cursor's longitude and latitude and the current level.
class kstDemoWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit kstDemoWindow(QWidget* parent = nullptr);

    Kestrum::kstTileMapView* mapView() const { return m_view; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void createActions();
    void showCursor(const QPointF& pix);
    void showLevel(int level);

    Kestrum::kstTileMapView* m_view = nullptr;
    QLabel* m_lonLabel = nullptr;
    QLabel* m_latLabel = nullptr;
    QLabel* m_levelLabel = nullptr;
};
