#pragma once

#include "kstFourParamter.h"

#include <QWidget>

class QComboBox;
class QLabel;
class QPushButton;
class QTableWidget;

namespace Kestrum {
class kstVectorEditLayer;
class kstVectorLayer;
}

// The fit lines of an edit layer with their source and target plane
// coordinates, the four parameters estimated from them by least squares with
// each line's residual, and the commands to reverse, delete and clear lines
// and to apply the estimate to a layer.
class kstDemoFitPanel : public QWidget
{
    Q_OBJECT

public:
    explicit kstDemoFitPanel(Kestrum::kstVectorEditLayer* editLayer, QWidget* parent = nullptr);

    // The estimate of the shown lines; valid() is false with fewer than two.
    const Kestrum::kstFourParamter& estimate() const { return m_fit; }
    bool valid() const { return m_valid; }
    QTableWidget* table() const { return m_table; }

    // The layer that "Apply to layer" fits.
    Kestrum::kstVectorLayer* currentLayer() const;
    void setApplyLayer(Kestrum::kstVectorLayer* layer);
    void applyToLayer();

private:
    void refresh();
    void refreshLayers();
    void showParameters();

    Kestrum::kstVectorEditLayer* m_editLayer;
    Kestrum::kstFourParamter m_fit;
    bool m_valid = false;
    QTableWidget* m_table;
    QLabel* m_parameters;
    QComboBox* m_layers;
    QList<Kestrum::kstVectorLayer*> m_layerList; // in the order of m_layers
    QPushButton* m_apply;
};
