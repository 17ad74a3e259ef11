#pragma once

#include "kstVectorGlobal.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QString>
#include <QVariant>

namespace Kestrum {

class kstVectorShape;

// Provisional record interface, replaced by the full recorder.
class KSTVECTOR_EXPORT LayerMemo
{
public:
    enum Action {
        LayerInsert = 0,
        LayerRemove = 1,
        ShapesInsert = 2,
        ShapesRemove = 3,
        ShapesMove = 4,
        VertexInsert = 5,
        VertexRemove = 6,
        VertexMove = 7
    };
};

// The undo and redo recorder of an edit layer. It announces whether undo and
// redo are possible; the records themselves arrive with undo support.
class KSTVECTOR_EXPORT kstVectorLayerMemo : public QObject
{
    Q_OBJECT

public:
    explicit kstVectorLayerMemo(QObject* parent = nullptr);
    ~kstVectorLayerMemo() override;

    void memo(LayerMemo::Action, kstVectorShape*, const QMap<QString, QVariant>&) {}
    void memo(LayerMemo::Action, const QList<kstVectorShape*>&, const QMap<QString, QVariant>&) {}
    void memo(LayerMemo::Action, const QMap<QString, QVariant>&) {}

    bool undoUsability() const { return false; }
    bool redoUsability() const { return false; }

signals:
    void undoUsabilityChanged(bool usability);
    void redoUsabilityChanged(bool usability);
};

} // namespace Kestrum
