#pragma once

#include <QDialog>

class QLineEdit;
class QTableWidget;

namespace Kestrum {
class kstVectorCollect;
}

// The properties of one feature: its label text and its attribute values,
// both editable. Accepting writes them back into the feature.
class kstDemoPropertiesDialog : public QDialog
{
    Q_OBJECT

public:
    explicit kstDemoPropertiesDialog(Kestrum::kstVectorCollect* collect, QWidget* parent = nullptr);

    // Writes the edited text and values into the feature.
    void apply();

private:
    Kestrum::kstVectorCollect* m_collect;
    QLineEdit* m_text;
    QTableWidget* m_fields;
};
