#pragma once

#include "kstVectorGlobal.h"

#include "kstElement.h"
#include "kstGeographicalCoordinatesPoint.h"
#include "kstPlaneCoordinatesPoint.h"

#include "VectorShapeLabel.h"
#include "kstLabelGrid.h"

#include "kstDistanceArea.h"

#include <QBrush>
#include <QColor>
#include <QLineF>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPen>
#include <QRectF>
#include <QSize>

namespace Kestrum {

class kstCorrection;
class kstProjection;
class kstResulotion;
class kstTileMapView;
class kstVectorCollect;
class kstVectorLayer;
class kstVectorLayerMemo;
class kstVectorShape;

using kstVectorShapes = QList<kstVectorShape*>;

// The interactive layer on the host's map view. It shows vector layers whose
// shapes are its child items, keeps them in step with the view, and paints
// its overlay above them. Its item coordinates have their origin at the plane
// point of the projection's top-left corner, one unit per pixel of the
// current level, so a pan moves only the item and a zoom recomputes pixels.
class KSTVECTOR_EXPORT kstVectorEditLayer : public QObject, public kstElement
{
    Q_OBJECT
    Q_INTERFACES(QGraphicsItem)

public:
    enum Action {
        None = 0,
        SelectEdit = 1,
        RectSelect = 2,
        PolygonSelect = 3,
        NewPoint = 4,
        NewLine = 5,
        NewRect = 6,
        NewCircle = 7,
        NewPolygon = 8,
        Fit = 9
    };
    Q_ENUM(Action)

    explicit kstVectorEditLayer(QGraphicsItem* parent = nullptr);
    ~kstVectorEditLayer() override;

    Action layerAction() const { return m_action; }
    void setLayerAction(Action action);

    // Layers: index 0 is the top layer. The edit layer never owns them.
    void insertLayer(kstVectorLayer* layer, int index);
    // As insertLayer, for layers whose shapes already carry their pixel data.
    void importLayer(kstVectorLayer* layer, int index);
    // Takes the layer off the view; its contents stay intact.
    void removeLayer(kstVectorLayer* layer);
    // Takes the layer off the view and destroys it with its contents.
    void deleteLayer(kstVectorLayer* layer);
    void clearLayers();
    QList<kstVectorLayer*>& layers() { return m_layers; }
    QList<kstVectorLayer*> constLayers() const { return m_layers; }
    kstVectorLayer* layer(int index) const;
    int layerIndex(kstVectorLayer* layer) const { return m_layers.indexOf(layer); }

    kstVectorLayerMemo* memoer() const { return m_memo; }

    // Collects and shapes. The remove operations only detach (so that undo
    // can put things back); the delete operations destroy.
    void insertCollect(kstVectorCollect* collect);
    void removeCollect(kstVectorCollect* collect);
    void deleteCollect(kstVectorCollect* collect);
    void insertShape(kstVectorShape* shape, int index);
    void insertShapes(const QList<kstVectorShape*>& shapes);
    void removeShape(kstVectorShape* shape);
    void removeShapes(const QList<kstVectorShape*>& shapes);
    void deleteShape(kstVectorShape* shape);
    void deleteShapes(const QList<kstVectorShape*>& shapes);

    // Visibility: a shape has its own flag; collects and layers derive theirs.
    void setShapeVisible(kstVectorShape* shape, bool visible);
    void setShapesVisible(const QList<kstVectorShape*>& shapes, bool visible);
    void setCollectVisible(kstVectorCollect* collect, bool visible);
    void setLayerVisible(kstVectorLayer* layer, bool visible);
    void visibleShape(kstVectorShape* shape);
    void unvisibleShape(kstVectorShape* shape);
    static Qt::CheckState shapeVisibleState(kstVectorShape* shape);
    static Qt::CheckState collectVisibleState(kstVectorCollect* collect);
    static Qt::CheckState layerVisibleState(kstVectorLayer* layer);

    // Selection, in order of selection; selected shapes stack above all layers.
    void selectShape(kstVectorShape* shape);
    void unselectShape(kstVectorShape* shape);
    void setShapeSelected(kstVectorShape* shape, bool selected);
    void setShapesSelecte(const QList<kstVectorShape*>& shapes, bool selected);
    void setCollectSelecte(kstVectorCollect* collect, bool selected);
    void setLayerSelecte(kstVectorLayer* layer, bool selected);
    void clearSelected();
    QList<kstVectorShape*> selectedShapes() const { return m_selectedShapes; }
    static bool isShapeSelected(kstVectorShape* shape);
    static bool isCollectSelected(kstVectorCollect* collect);
    static bool isLayerSelected(kstVectorLayer* layer);

    // Layer display flags and style.
    static void setLayerAntiAliasing(kstVectorLayer* layer, bool on);
    static bool isLayerAntiAliasinged(kstVectorLayer* layer);
    static void updateLayerStyle(kstVectorLayer* layer);

    int layerMinZLevel() const { return m_minZLevel; }
    void setLayerMinZLevel(int level) { m_minZLevel = level; }
    void resetZLevel();

    // kstElement
    void addToMapView(kstTileMapView* view) override;
    void removeFromMapView() override;

    // QGraphicsItem
    QRectF boundingRect() const override;
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

    int currentLevel() const { return m_level; }
    QSize currentSize() const { return m_viewSize; }
    kstPlaneCoordinatesPoint currentLtPcp() const { return m_ltPcp; }
    // Geographic point of a position in the edit layer's item coordinates.
    kstGeographicalCoordinatesPoint layerGcp(const QPointF& p) const;

    void showVectorLayer();
    void hideVectorLayer();

    // Labels: placed anew over the visible area, topmost shapes first, none
    // closer than 6 pixels to another.
    void updateLabels();
    QMap<kstVectorShape*, QList<VectorShapeLabel__*>> shapeLabels() const { return m_shapeLabels; }
    static void upateLayerShapeLabels(kstVectorLayer* layer);
    static void setLayerShowLabes(kstVectorLayer* layer, bool show);
    static bool isLayerShowLabes(kstVectorLayer* layer);
    void correctInShapes();
    void correctOutShapes();

public slots:
    void refresh();
    void mapViewResized(const QSize& size);
    void mapViewChanged(const Kestrum::kstPlaneCoordinatesPoint& ltPcp, int level);
    void onConfigNeedChange(Kestrum::kstProjection* projection, Kestrum::kstResulotion* resolution,
                            Kestrum::kstCorrection* correction);
    void onConfigChanged(Kestrum::kstProjection* projection, Kestrum::kstResulotion* resolution,
                         Kestrum::kstCorrection* correction);

signals:
    void actionChanged(int lastAction, int curAction);
    void undoUsabilityChanged(bool usability);
    void redoUsabilityChanged(bool usability);
    void layerInserted(Kestrum::kstVectorLayer* layer, int index);
    void layerRemoved(Kestrum::kstVectorLayer* layer);
    void collectInserted(Kestrum::kstVectorCollect* collect, int index);
    void collectRemoved(Kestrum::kstVectorCollect* collect);
    void collectConfig(Kestrum::kstVectorCollect* collect);
    void collectCreate(Kestrum::kstVectorCollect* collect);
    void shapeInserted(Kestrum::kstVectorShape* shape, int index);
    void shapeRemoved(Kestrum::kstVectorShape* shape);
    void shapeChanged(Kestrum::kstVectorShape* shape);
    void shapesInserted(Kestrum::kstVectorShapes shapes);
    void shapesRemoved(Kestrum::kstVectorShapes shapes);
    void fitValuesChanged();

protected:
    virtual void drawShapeLabels(QPainter* painter, const QStyleOptionGraphicsItem* option);
    virtual void drawShapeNewing(QPainter* painter, const QStyleOptionGraphicsItem* option);
    virtual void drawShapeVertexNewing(QPainter* painter, const QStyleOptionGraphicsItem* option);
    virtual void drawFit(QPainter* painter, const QStyleOptionGraphicsItem* option);
    virtual void drawBoxSelect(QPainter* painter, const QStyleOptionGraphicsItem* option);

    void setLayerBoundingRect();
    void setLayerPosition();
    void updateShapes();
    void setLayerLabels();
    bool isIntersectsWithCurrentLabels(const QRectF& rect) const;

private:
    void clearShapeLabels();
    void dropShapeLabels(kstVectorShape* shape);
    QList<VectorShapeLabel__*> placeLabels(kstVectorShape* shape, const QRectF& visible);
    void insertLayer(kstVectorLayer* layer, int index, bool shapesHavePixels);
    void attachShape(kstVectorShape* shape);
    void detachShape(kstVectorShape* shape);
    void detachShapes(const QList<kstVectorShape*>& shapes);
    static QList<kstVectorShape*> layerShapes(const kstVectorLayer* layer);
    void takeShapeFromCollect(kstVectorShape* shape);
    void updateShapeNow(kstVectorShape* shape);
    QList<kstVectorShape*> allShapes() const;
    bool viewReady() const;

    kstVectorLayerMemo* m_memo = nullptr;
    int m_level = 0;
    kstPlaneCoordinatesPoint m_ltPcp;
    QSize m_viewSize;
    QRectF m_rect;
    QList<kstVectorLayer*> m_layers;
    Action m_action = None;
    // Handles and the state of the drawing, fit-line and box-selection modes
    // (0 off, 1 ready, 2 drawing, 3 finished).
    double m_vertexSize = 8.0;
    QColor m_vertexClr0;
    QColor m_vertexClr1;
    QColor m_vertexClr2;
    int m_newing = 0;
    QList<QPointF> m_newingPoints;
    QPen m_newingLinePen;
    QPen m_newingBorderPen;
    QBrush m_newingFillBrush;
    int m_fitting = 0;
    QList<QLineF> m_fitLines;
    int m_selectedFitLine = -1;
    double m_fitLineWidth = 2.0;
    double m_fitLineSelectedWidth = 3.0;
    QColor m_fitLineClr;
    QColor m_fitLineSelectedClr;
    int m_boxSelecting = 0;
    QList<QPointF> m_boxPoints;
    double m_boxLineWidth = 1.5;
    QColor m_boxLineClr;
    QList<kstVectorShape*> m_selectedShapes;
    QMap<kstVectorShape*, QList<VectorShapeLabel__*>> m_shapeLabels;
    kstLabelGrid m_labelGrid; // the placed labels, enlarged by the label spacing
    int m_minZLevel = 0;
    int m_selectedZLevel = 1;
    QPointF m_pressPos;
    kstDistanceArea m_distanceArea;
    bool m_adsorbEnabled = false;
    int m_adsorbTolerance = 8;
};

} // namespace Kestrum
