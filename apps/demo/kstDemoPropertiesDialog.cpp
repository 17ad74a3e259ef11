#include "kstDemoPropertiesDialog.h"

#include "kstVectorCollect.h"
#include "kstVectorLayer.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QTableWidget>
#include <QVBoxLayout>

using namespace Kestrum;

namespace {

// The attribute names of a feature: its layer's schema, then any value the
// feature carries beyond it.
QStringList fieldNames(const kstVectorCollect* collect)
{
    QStringList names = collect->m_layer ? QStringList(collect->m_layer->m_fieldNames) : QStringList();
    for (const QString& name : collect->m_fields.keys())
        if (!names.contains(name))
            names.append(name);
    return names;
}

} // namespace

kstDemoPropertiesDialog::kstDemoPropertiesDialog(kstVectorCollect* collect, QWidget* parent)
    : QDialog(parent)
    , m_collect(collect)
    , m_text(new QLineEdit(collect->m_text, this))
    , m_fields(new QTableWidget(this))
{
    setWindowTitle(tr("Feature %1").arg(collect->m_fid));
    auto* form = new QFormLayout;
    form->addRow(tr("Label"), m_text);

    const QStringList names = fieldNames(collect);
    m_fields->setColumnCount(2);
    m_fields->setHorizontalHeaderLabels({tr("Field"), tr("Value")});
    m_fields->setRowCount(names.size());
    m_fields->verticalHeader()->hide();
    m_fields->horizontalHeader()->setStretchLastSection(true);
    for (int row = 0; row < names.size(); ++row) {
        auto* name = new QTableWidgetItem(names.at(row));
        name->setFlags(name->flags() & ~Qt::ItemIsEditable);
        m_fields->setItem(row, 0, name);
        m_fields->setItem(row, 1, new QTableWidgetItem(collect->m_fields.value(names.at(row)).toString()));
    }

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(this, &QDialog::accepted, this, &kstDemoPropertiesDialog::apply);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_fields);
    layout->addWidget(buttons);
    resize(420, 360);
}

void kstDemoPropertiesDialog::apply()
{
    m_collect->m_text = m_text->text();
    for (int row = 0; row < m_fields->rowCount(); ++row) {
        const QString name = m_fields->item(row, 0)->text();
        const QString value = m_fields->item(row, 1)->text();
        const QVariant old = m_collect->m_fields.value(name);
        // A value keeps its type when the text still converts to it.
        QVariant edited(value);
        if (old.isValid() && edited.canConvert(old.userType()) && edited.convert(old.userType()))
            m_collect->m_fields.insert(name, edited);
        else
            m_collect->m_fields.insert(name, value);
    }
}
