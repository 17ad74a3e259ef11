#include "kstDemoLayerList.h"

#include "kstVectorCollect.h"
#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"

using namespace Kestrum;

namespace {

enum Role { LayerRole = Qt::UserRole + 1, CollectRole };

kstVectorLayer* layerOf(const QTreeWidgetItem* item)
{
    return static_cast<kstVectorLayer*>(item->data(0, LayerRole).value<void*>());
}

kstVectorCollect* collectOf(const QTreeWidgetItem* item)
{
    return static_cast<kstVectorCollect*>(item->data(0, CollectRole).value<void*>());
}

} // namespace

kstDemoLayerList::kstDemoLayerList(kstVectorEditLayer* editLayer, QWidget* parent)
    : QTreeWidget(parent)
    , m_editLayer(editLayer)
{
    setHeaderLabel(tr("Layers"));
    connect(this, &QTreeWidget::itemChanged, this, &kstDemoLayerList::onItemChanged);
}

kstVectorLayer* kstDemoLayerList::currentLayer() const
{
    const QTreeWidgetItem* item = currentItem();
    if (item && item->parent())
        item = item->parent();
    return item ? layerOf(item) : nullptr;
}

void kstDemoLayerList::setLayers(const QList<kstVectorLayer*>& layers)
{
    kstVectorLayer* current = layers.contains(currentLayer()) ? currentLayer() : nullptr;
    m_updating = true;
    clear();
    for (kstVectorLayer* layer : layers) {
        auto* layerItem = new QTreeWidgetItem(this, {layer->m_name.isEmpty() ? tr("(unnamed)") : layer->m_name});
        layerItem->setData(0, LayerRole, QVariant::fromValue<void*>(layer));
        layerItem->setFlags(layerItem->flags() | Qt::ItemIsUserCheckable);
        for (kstVectorCollect* collect : qAsConst(layer->m_collects)) {
            const QString name = collect->m_text.isEmpty() ? tr("feature %1").arg(collect->m_fid) : collect->m_text;
            auto* item = new QTreeWidgetItem(layerItem, {name});
            item->setData(0, CollectRole, QVariant::fromValue<void*>(collect));
            item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        }
        if (layer == current)
            setCurrentItem(layerItem);
    }
    m_updating = false;
    updateStates();
}

void kstDemoLayerList::onItemChanged(QTreeWidgetItem* item, int)
{
    if (m_updating)
        return;
    // A click on a partly checked layer shows all of it.
    const bool visible = item->checkState(0) != Qt::Unchecked;
    if (kstVectorLayer* layer = layerOf(item))
        m_editLayer->setLayerVisible(layer, visible);
    else if (kstVectorCollect* collect = collectOf(item))
        m_editLayer->setCollectVisible(collect, visible);
    m_editLayer->updateLabels();
    updateStates();
}

void kstDemoLayerList::updateStates()
{
    m_updating = true;
    for (int i = 0; i < topLevelItemCount(); ++i) {
        QTreeWidgetItem* layerItem = topLevelItem(i);
        layerItem->setCheckState(0, kstVectorEditLayer::layerVisibleState(layerOf(layerItem)));
        for (int j = 0; j < layerItem->childCount(); ++j) {
            QTreeWidgetItem* item = layerItem->child(j);
            item->setCheckState(0, kstVectorEditLayer::collectVisibleState(collectOf(item)));
        }
    }
    m_updating = false;
}
