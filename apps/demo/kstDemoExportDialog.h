#pragma once

#include <QDialog>
#include <QList>

class QComboBox;
class QLineEdit;

namespace Kestrum {
class kstVectorLayer;
}

// File > Export...: chooses the format (from the exporter factory), the
// character set of the written text and the target; the export runs on the
// exporter's worker behind a progress dialog whose Cancel stops it. The
// written file is then read back with the library's import and the counts
// compared.
class kstDemoExportDialog : public QDialog
{
    Q_OBJECT

public:
    kstDemoExportDialog(const QList<Kestrum::kstVectorLayer*>& layers, QWidget* parent = nullptr);

    int formatType() const;
    int charset() const;
    QString target() const;

    // Exports the layers and checks the result; the message says what
    // happened. Returns whether the export finished and read back whole.
    static bool exportLayers(const QList<Kestrum::kstVectorLayer*>& layers, int formatType, int charset,
                             const QString& target, QWidget* parent, QString* message);

private:
    void browse();

    QComboBox* m_format;
    QComboBox* m_charset;
    QLineEdit* m_target;
};
