#pragma once

#include <QTreeWidget>

namespace Kestrum {
class kstVectorEditLayer;
class kstVectorLayer;
}

// The demo's list of layers and their features, with check boxes that show
// and hide them; a layer whose features are partly hidden shows partly checked.
class kstDemoLayerList : public QTreeWidget
{
    Q_OBJECT

public:
    explicit kstDemoLayerList(Kestrum::kstVectorEditLayer* editLayer, QWidget* parent = nullptr);

    void setLayers(const QList<Kestrum::kstVectorLayer*>& layers);
    // The layer of the current item (a layer or one of its features), or null.
    Kestrum::kstVectorLayer* currentLayer() const;

private:
    void onItemChanged(QTreeWidgetItem* item, int column);
    void updateStates();

    Kestrum::kstVectorEditLayer* m_editLayer;
    bool m_updating = false;
};
