#include "kstDemoEditor.h"

#include "kstDemoEditToolBar.h"
#include "kstDemoPropertiesDialog.h"
#include "kstDistanceArea.h"
#include "kstVectorCollect.h"
#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"
#include "kstVectorLayerMemo.h"
#include "kstVectorShape.h"

#include <QLabel>
#include <QMainWindow>
#include <QSet>

using namespace Kestrum;

kstDemoEditor::kstDemoEditor(kstVectorEditLayer* editLayer, LayerSource currentLayer, QMainWindow* window)
    : QObject(window)
    , m_editLayer(editLayer)
    , m_currentLayer(std::move(currentLayer))
    , m_window(window)
    , m_toolBar(new kstDemoEditToolBar(editLayer, window))
    , m_measure(new QLabel(window))
{
    m_measure->setMinimumWidth(180);
    connect(editLayer, &kstVectorEditLayer::collectCreate, this, &kstDemoEditor::insertCreated);
    connect(editLayer, &kstVectorEditLayer::collectConfig, this, &kstDemoEditor::configure);
    connect(m_toolBar, &kstDemoEditToolBar::deleteRequested, this, &kstDemoEditor::deleteSelection);
    connect(editLayer, &kstVectorEditLayer::shapeChanged, this, &kstDemoEditor::showMeasure);
    connect(editLayer, &kstVectorEditLayer::shapeRemoved, this, [this](kstVectorShape* shape) {
        keepRemoved({shape});
    });
    connect(editLayer, &kstVectorEditLayer::shapesRemoved, this, &kstDemoEditor::keepRemoved);
    for (auto signal : {&kstVectorEditLayer::undoUsabilityChanged, &kstVectorEditLayer::redoUsabilityChanged})
        connect(editLayer, signal, this, [this] {
            showMeasure();
            emit featuresChanged();
        });
}

void kstDemoEditor::insertCreated(kstVectorCollect* collect)
{
    kstVectorLayer* layer = m_currentLayer ? m_currentLayer() : nullptr;
    if (!layer) {
        kstVectorCollect::destroyCollect(collect);
        return;
    }
    collect->m_layer = layer;
    collect->m_fid = layer->genFid();
    m_editLayer->insertCollect(collect);
    // The layer's look for the new shapes only (the others keep their own),
    // and the layer's stacking place.
    kstVectorLayer styleOnly(*layer);
    styleOnly.m_collects = {{collect->m_fid, collect}};
    kstVectorEditLayer::updateLayerStyle(&styleOnly);
    m_editLayer->resetZLevel();
    m_editLayer->memoer()->memo(LayerMemo::ShapesInsert, collect->m_shapes, {});
    m_editLayer->updateLabels();
    emit featuresChanged();
}

void kstDemoEditor::deleteSelection()
{
    kstVectorShape* current = m_editLayer->currentInteractiveShape();
    if (current && current->action() == kstVectorShape::Action_MoveVertex) {
        m_editLayer->removeShapeVertex(current);
    } else {
        const QList<kstVectorShape*> selected = m_editLayer->selectedShapes();
        if (selected.isEmpty())
            return;
        m_editLayer->memoer()->memo(LayerMemo::ShapesRemove, selected, {});
        m_editLayer->removeShapes(selected);
    }
    m_editLayer->updateLabels();
    showMeasure();
    emit featuresChanged();
}

void kstDemoEditor::configure(kstVectorCollect* collect)
{
    kstDemoPropertiesDialog dialog(collect, m_window);
    if (dialog.exec() != QDialog::Accepted)
        return;
    for (kstVectorShape* shape : qAsConst(collect->m_shapes))
        shape->updateLabels();
    m_editLayer->updateLabels();
    emit featuresChanged();
}

void kstDemoEditor::showMeasure()
{
    const QList<kstVectorShape*> selected = m_editLayer->selectedShapes();
    if (selected.size() != 1) {
        m_measure->setText(selected.isEmpty() ? QString() : tr("%1 shapes").arg(selected.size()));
        return;
    }
    kstVectorShape* shape = selected.first();
    switch (shape->shapeType()) {
    case kstVectorShape::Type_Line:
        m_measure->setText(tr("Length %1").arg(kstDistanceArea::lengthString(shape->perimeter(), false)));
        break;
    case kstVectorShape::Type_Polygon:
    case kstVectorShape::Type_Rect:
    case kstVectorShape::Type_Circle:
        m_measure->setText(tr("Area %1").arg(kstDistanceArea::areaString(shape->area(), false)));
        break;
    default:
        m_measure->setText(tr("Point"));
        break;
    }
}

void kstDemoEditor::keepRemoved(const QList<kstVectorShape*>& shapes)
{
    for (kstVectorShape* shape : shapes)
        if (!m_removed.contains(shape))
            m_removed.append(shape);
}

void kstDemoEditor::disposeRemoved()
{
    // Shapes that undo brought back are in their collect again; the others,
    // and collects that lost every shape and their place in the layer, go.
    QSet<kstVectorCollect*> emptied;
    for (kstVectorShape* shape : qAsConst(m_removed)) {
        kstVectorCollect* collect = shape->shapeCollect();
        if (collect && collect->m_shapes.contains(shape))
            continue;
        if (collect && collect->m_shapes.isEmpty()
            && (!collect->m_layer || collect->m_layer->m_collects.value(collect->m_fid) != collect))
            emptied.insert(collect);
        delete shape;
    }
    m_removed.clear();
    m_editLayer->memoer()->clearDo();
    for (kstVectorCollect* collect : qAsConst(emptied))
        kstVectorCollect::deleteCollect(collect);
}
