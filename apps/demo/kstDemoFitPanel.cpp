#include "kstDemoFitPanel.h"

#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include <cmath>

using namespace Kestrum;

namespace {

constexpr double kDegreesPerRadian = 180.0 / 3.141592653589793;

QTableWidgetItem* cell(double value, int decimals)
{
    auto* item = new QTableWidgetItem(QString::number(value, 'f', decimals));
    item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    item->setFlags(Qt::ItemIsSelectable | Qt::ItemIsEnabled);
    return item;
}

QList<QPointF> plain(const QList<PCP>& points)
{
    QList<QPointF> result;
    result.reserve(points.size());
    for (const PCP& p : points)
        result.append(p.toPointF());
    return result;
}

} // namespace

kstDemoFitPanel::kstDemoFitPanel(kstVectorEditLayer* editLayer, QWidget* parent)
    : QWidget(parent)
    , m_editLayer(editLayer)
    , m_table(new QTableWidget(0, 5, this))
    , m_parameters(new QLabel(this))
    , m_layers(new QComboBox(this))
    , m_apply(new QPushButton(tr("Apply to layer"), this))
{
    m_table->setHorizontalHeaderLabels({tr("Source x"), tr("Source y"), tr("Target x"), tr("Target y"), tr("Residual")});
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_parameters->setTextInteractionFlags(Qt::TextSelectableByMouse);

    auto* reverse = new QPushButton(tr("Reverse"), this);
    auto* remove = new QPushButton(tr("Delete"), this);
    auto* clear = new QPushButton(tr("Clear"), this);
    auto* buttons = new QHBoxLayout;
    for (QPushButton* button : {reverse, remove, clear})
        buttons->addWidget(button);
    auto* applyRow = new QHBoxLayout;
    applyRow->addWidget(m_layers, 1);
    applyRow->addWidget(m_apply);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_table, 1);
    layout->addLayout(buttons);
    layout->addWidget(m_parameters);
    layout->addLayout(applyRow);

    connect(reverse, &QPushButton::clicked, m_editLayer, &kstVectorEditLayer::reverseFitLine);
    connect(remove, &QPushButton::clicked, this, [this] {
        if (m_table->currentRow() >= 0)
            m_editLayer->deleteFitLine(m_table->currentRow());
    });
    connect(clear, &QPushButton::clicked, m_editLayer, &kstVectorEditLayer::clearFit);
    connect(m_apply, &QPushButton::clicked, this, &kstDemoFitPanel::applyToLayer);
    connect(m_table, &QTableWidget::currentCellChanged, this, [this](int row) {
        if (row >= 0 && row < m_editLayer->fitLines().size())
            m_editLayer->setFitLineSelected(row);
    });
    connect(m_editLayer, &kstVectorEditLayer::fitValuesChanged, this, &kstDemoFitPanel::refresh);
    connect(m_editLayer, &kstVectorEditLayer::layerInserted, this, &kstDemoFitPanel::refreshLayers);
    connect(m_editLayer, &kstVectorEditLayer::layerRemoved, this, &kstDemoFitPanel::refreshLayers);
    refreshLayers();
    refresh();
}

void kstDemoFitPanel::refreshLayers()
{
    kstVectorLayer* current = currentLayer();
    m_layers->clear();
    m_layerList = m_editLayer->layers();
    for (kstVectorLayer* layer : qAsConst(m_layerList))
        m_layers->addItem(layer->m_name.isEmpty() ? tr("Layer %1").arg(m_layers->count() + 1) : layer->m_name);
    setApplyLayer(current);
    m_apply->setEnabled(m_valid && m_layers->count() > 0);
}

kstVectorLayer* kstDemoFitPanel::currentLayer() const
{
    return m_layerList.value(m_layers->currentIndex());
}

void kstDemoFitPanel::setApplyLayer(kstVectorLayer* layer)
{
    const int index = m_layerList.indexOf(layer);
    if (index >= 0)
        m_layers->setCurrentIndex(index);
}

void kstDemoFitPanel::applyToLayer()
{
    kstVectorLayer* layer = currentLayer();
    if (!m_valid || !layer)
        return;
    m_editLayer->fitLayer(m_fit.fourParamter(), layer);
    m_editLayer->updateLabels();
}

void kstDemoFitPanel::refresh()
{
    QList<PCP> src, dst;
    m_editLayer->getFitValues(src, dst);
    m_valid = src.size() >= 2;
    if (m_valid)
        m_fit.backCalc(plain(src), plain(dst));
    const QList<QPointF> residuals = m_valid ? m_fit.residuals() : QList<QPointF>();
    m_table->setRowCount(src.size());
    for (int i = 0; i < src.size(); ++i) {
        m_table->setItem(i, 0, cell(src.at(i).x(), 3));
        m_table->setItem(i, 1, cell(src.at(i).y(), 3));
        m_table->setItem(i, 2, cell(dst.at(i).x(), 3));
        m_table->setItem(i, 3, cell(dst.at(i).y(), 3));
        if (i < residuals.size())
            m_table->setItem(i, 4, cell(std::hypot(residuals.at(i).x(), residuals.at(i).y()), 4));
        else
            m_table->setItem(i, 4, new QTableWidgetItem);
    }
    showParameters();
    m_apply->setEnabled(m_valid && m_layers->count() > 0);
}

void kstDemoFitPanel::showParameters()
{
    if (!m_valid) {
        m_parameters->setText(tr("Draw at least two fit lines."));
        return;
    }
    const FourParamter__ p = m_fit.fourParamter();
    m_parameters->setText(tr("Scale %1 (%2 ppm)\nRotation %3°\nShift x %4 m, y %5 m\nMean error %6 m")
                              .arg(p.scale, 0, 'f', 9)
                              .arg(p.ppm(), 0, 'f', 3)
                              .arg(p.rotation * kDegreesPerRadian, 0, 'f', 7)
                              .arg(p.dx, 0, 'f', 4)
                              .arg(p.dy, 0, 'f', 4)
                              .arg(m_fit.middleError(), 0, 'f', 4));
}
