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
#include <QPainterPath>
#include <QPen>
#include <QRectF>
#include <QSize>

#include <memory>

namespace Kestrum {

class kstCorrection;
class kstProjection;
struct FourParamter__;
class kstResulotion;
class kstShapeIndex;
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
    // The spatial index of the child shapes that picking and snapping ask
    // instead of the scene. Shapes keep it current themselves.
    kstShapeIndex* shapeIndex() const { return m_shapeIndex.get(); }

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

    // --- Mouse editing: drawing, selection, vertex editing, snapping -------
    // The selected shape that the pointer is over (what a drag or click edits).
    kstVectorShape* currentInteractiveShape() const;
    // The shape a click at a scene position means: a point before a line,
    // a line before an area, the smallest area last.
    kstVectorShape* currentHoverShape(const QPointF& scenePos) const;
    // Removes the vertex under the pointer, or the whole shape when it cannot
    // lose one; both are recorded for undo.
    void removeShapeVertex(kstVectorShape* shape);
    void setVertexAdsorbEnable(bool enable) { m_adsorbEnabled = enable; }
    bool vertexAdsorbEnable() const { return m_adsorbEnabled; }
    int vertexAdsorbTolerance() const { return m_adsorbTolerance; }
    // Drops the points of the shape being drawn; the drawing state stays.
    void clearNewingShape();
    // Read-only views of the drawing and selection-outline states
    // (0 off, 1 ready, 2 drawing, 3 finished) and their points, in the edit
    // layer's item pixels.
    int newingState() const { return m_newing; }
    QList<QPointF> newingPoints() const { return m_newingPoints; }
    int boxSelectState() const { return m_boxSelecting; }
    QList<QPointF> boxPoints() const { return m_boxPoints; }
    // Fit lines: each joins where a feature lies (start) to where it belongs
    // (end), in item pixels; their ends in plane coordinates are the control
    // points of a four-parameter fit, which fitLayer applies to a layer.
    void setFiltLine(int index, const kstPlaneCoordinatesPoint& src, const kstPlaneCoordinatesPoint& dst);
    bool deleteFitLine(int index);
    bool clearFit();
    void reverseFitLine();
    void setFitLineSelected(int index);
    void getFitValues(QList<kstPlaneCoordinatesPoint>& src, QList<kstPlaneCoordinatesPoint>& dst);
    void fitLayer(const FourParamter__& p, kstVectorLayer* layer);
    void fitLayers(const FourParamter__& p, QList<kstVectorLayer*> layers);
    QList<QLineF> fitLines() const { return m_fitLines; }
    int selectedFitLine() const { return m_selectedFitLine; }

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

    // --- Mouse editing: event dispatch and the mode handlers ---------------
    void contextMenuEvent(QGraphicsSceneContextMenuEvent* event) override;
    void hoverMoveEvent(QGraphicsSceneHoverEvent* event) override;
    void mousePressEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseReleaseEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseDoubleClickEvent(QGraphicsSceneMouseEvent* event) override;

    virtual void on_SelectEdit_LeftClicked(QGraphicsSceneMouseEvent* event);
    virtual void on_SelectEdit_RightClicked(QGraphicsSceneContextMenuEvent* event);
    virtual void on_SelectEdit_DoubleClicked(QGraphicsSceneMouseEvent* event);
    virtual void on_SelectEdit_DragBegin(QGraphicsSceneMouseEvent* event);
    virtual void on_SelectEdit_DragMove(QGraphicsSceneMouseEvent* event);
    virtual void on_SelectEdit_DragEnd(QGraphicsSceneMouseEvent* event);
    virtual void on_NewPoint_LeftClicked(QGraphicsSceneMouseEvent* event);
    virtual void on_NewLine_LeftClicked(QGraphicsSceneMouseEvent* event);
    virtual void on_NewLine_RightClicked(QGraphicsSceneContextMenuEvent* event);
    virtual void on_NewLine_HoverMove(QGraphicsSceneHoverEvent* event);
    virtual void on_NewLine_DoubleClicked(QGraphicsSceneMouseEvent* event);
    virtual void on_NewPolygon_LeftClicked(QGraphicsSceneMouseEvent* event);
    virtual void on_NewPolygon_RightClicked(QGraphicsSceneContextMenuEvent* event);
    virtual void on_NewPolygon_HoverMove(QGraphicsSceneHoverEvent* event);
    virtual void on_NewPolygon_DoubleClicked(QGraphicsSceneMouseEvent* event);
    virtual void on_NewRect_LeftClicked(QGraphicsSceneMouseEvent* event);
    virtual void on_NewRect_RightClicked(QGraphicsSceneContextMenuEvent* event);
    virtual void on_NewRect_HoverMove(QGraphicsSceneHoverEvent* event);
    virtual void on_NewCircle_LeftClicked(QGraphicsSceneMouseEvent* event);
    virtual void on_NewCirce_RightClicked(QGraphicsSceneContextMenuEvent* event);
    virtual void on_NewCircle_HoverMove(QGraphicsSceneHoverEvent* event);
    virtual void on_RectSelect_LeftClicked(QGraphicsSceneMouseEvent* event);
    virtual void on_RectSelect_RightClicked(QGraphicsSceneContextMenuEvent* event);
    virtual void on_RectSelect_HoverMove(QGraphicsSceneHoverEvent* event);
    virtual void on_PolygonSelect_LeftClicked(QGraphicsSceneMouseEvent* event);
    virtual void on_PolygonSelect_RightClicked(QGraphicsSceneContextMenuEvent* event);
    virtual void on_PolygonSelect_HoverMove(QGraphicsSceneHoverEvent* event);
    virtual void on_PolygonSelect_DoubleClicked(QGraphicsSceneMouseEvent* event);

    // Snapping: a position pulled onto the nearest vertex within the square
    // tolerance, and a drag offset corrected so that a vertex of the dragged
    // shape lands on one.
    QPointF vertexAdsorb(const QPointF& p, kstVectorShape* excluded);
    QPointF shapeAdsorb(const QPointF& d, kstVectorShape* shape);
    // Rescale the stored points of the shape being drawn and of the selection
    // outline after a change of level.
    void updateNewingShape(int oldLevel);
    void updateBoxSelect(int oldLevel);
    // The handle square of side m_vertexSize centred on a point.
    QRectF vertexRect(const QPointF& p) const;
    // Fit mode.
    virtual void on_Fit_LeftClicked(QGraphicsSceneMouseEvent* event);
    virtual void on_Fit_RightClicked(QGraphicsSceneContextMenuEvent* event);
    virtual void on_Fit_HoverMove(QGraphicsSceneHoverEvent* event);
    void updateFitLines(int oldLevel);

    void setLayerBoundingRect();
    void setLayerPosition();
    void updateShapes();
    void setLayerLabels();
    bool isIntersectsWithCurrentLabels(const QRectF& rect) const;

private:
    // Mouse editing helpers.
    void finishShape(kstVectorShape* shape, int geometryType);
    QPointF layerGeoPoint(const QPointF& p) const;
    void clickNewLineOrPolygon(const QPointF& pos);
    void hoverNewLineOrPolygon(const QPointF& pos);
    void rightClickPointList(QList<QPointF>& points, int& state);
    void hoverBoxSelect(const QPointF& pos);
    void selectShapesInScene(const QPainterPath& scenePath, Qt::ItemSelectionMode mode);
    void rescalePoints(QList<QPointF>& points, int oldLevel) const;
    QList<kstVectorShape*> snapShapes(const QRectF& rect, kstVectorShape* excluded) const;
    QPointF snapPoint(const QPointF& p, const QList<kstVectorShape*>& shapes) const;
    bool insideLayer(const QRectF& rect) const;
    void drawNewingRadius(QPainter* painter);

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
    std::unique_ptr<kstShapeIndex> m_shapeIndex;
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
