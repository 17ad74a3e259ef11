#pragma once

#include "kstVectorGlobal.h"

#include <QObject>

namespace Kestrum {

// The undo and redo recorder of an edit layer. It announces whether undo and
// redo are possible; the records themselves arrive with undo support.
class KSTVECTOR_EXPORT kstVectorLayerMemo : public QObject
{
    Q_OBJECT

public:
    explicit kstVectorLayerMemo(QObject* parent = nullptr);
    ~kstVectorLayerMemo() override;

    bool undoUsability() const { return false; }
    bool redoUsability() const { return false; }

signals:
    void undoUsabilityChanged(bool usability);
    void redoUsabilityChanged(bool usability);
};

} // namespace Kestrum
