#pragma once

#include "kstVectorGlobal.h"

#include "LayerMemo.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QString>
#include <QVariant>

namespace Kestrum {

class kstVectorCollect;
class kstVectorEditLayer;
class kstVectorLayer;
class kstVectorShape;

// The undo and redo recorder of an edit layer. Whoever changes the vector data
// records the change with memo(); undo() and redo() replay the top record
// through the edit layer and the shapes' vertex operations, each time keeping
// the record that reverses the step on the other stack, and pan the view back
// to where the record was made. Records hold raw pointers: purge them
// (removeDo) before destroying what they point to. The edit layer's own
// delete operations do that themselves.
//
// Replays are exact: undoing everything returns every shape to the very
// coordinates it had. For that the recorder notes where each shape sits in
// its collect when a removal is recorded, so record a removal of shapes
// before performing it; a polygon vertex removal is best recorded before the
// removal too, or with "vertexRing".
class KSTVECTOR_EXPORT kstVectorLayerMemo : public QObject
{
    Q_OBJECT

public:
    explicit kstVectorLayerMemo(QObject* parent = nullptr);
    ~kstVectorLayerMemo() override;

    void memo(LayerMemo::Action action, kstVectorShape* shape, const QMap<QString, QVariant>& data);
    void memo(LayerMemo::Action action, const QList<kstVectorShape*>& shapes, const QMap<QString, QVariant>& data);
    void memo(LayerMemo::Action action, const QMap<QString, QVariant>& data);

    void undo();
    void redo();

    // The data of a vertex removal ("vertexIndex", "vertexGcp" and, for a
    // polygon, "vertexRing"), to be taken before the vertex is removed and
    // recorded once it is gone: the ring makes the undo exact where a ring's
    // first vertex and the previous ring's last share an index.
    static QMap<QString, QVariant> vertexRemoveData(kstVectorShape* shape, int index);

    void clearUndo();
    void clearRedo();
    void clearDo();

    // Drop the records that refer to a shape, to any of some shapes, or to a
    // layer (layer records of it, and records of shapes of its collects).
    void removeUndo(kstVectorShape* shape);
    void removeUndo(const QList<kstVectorShape*>& shapes);
    void removeUndo(kstVectorLayer* layer);
    void removeRedo(kstVectorShape* shape);
    void removeRedo(const QList<kstVectorShape*>& shapes);
    void removeRedo(kstVectorLayer* layer);
    void removeDo(kstVectorShape* shape);
    void removeDo(const QList<kstVectorShape*>& shapes);
    void removeDo(kstVectorLayer* layer);
    // Drops the records of shapes that belong to a collect, also of shapes
    // already taken out of it, from both stacks: for a collect about to be
    // destroyed.
    void removeDo(kstVectorCollect* collect);

    bool enable() const { return m_enable; }
    void setEnable(bool enable) { m_enable = enable; }
    bool recoverMapWhenDo() const { return m_recoverMapWhenDo; }
    void setRecoverMapWhenDo(bool recover) { m_recoverMapWhenDo = recover; }

    bool undoUsability() const { return !m_undoList.isEmpty(); }
    bool redoUsability() const { return !m_redoList.isEmpty(); }
    // The stacks, top last.
    QList<LayerMemo> undoList() const { return m_undoList; }
    QList<LayerMemo> redoList() const { return m_redoList; }

signals:
    void undoUsabilityChanged(bool usability);
    void redoUsabilityChanged(bool usability);

private:
    using Handler = LayerMemo (kstVectorLayerMemo::*)(const LayerMemo&);
    struct Handlers;

    void replay(QList<LayerMemo>& from, QList<LayerMemo>& to, bool undoing);
    LayerMemo makeRecord(LayerMemo::Action action, const QList<kstVectorShape*>& shapes,
                         const QMap<QString, QVariant>& data) const;
    LayerMemo startReplay(const LayerMemo& rec, const QMap<QString, QVariant>& data);
    QMap<QString, QVariant> exactData(const LayerMemo& rec) const;

    LayerMemo layerIn(const LayerMemo& rec);
    LayerMemo layerOut(const LayerMemo& rec);
    LayerMemo shapesIn(const LayerMemo& rec);
    LayerMemo shapesOut(const LayerMemo& rec);
    LayerMemo moveShapes(const LayerMemo& rec);
    LayerMemo vertexIn(const LayerMemo& rec);
    LayerMemo vertexOut(const LayerMemo& rec);
    LayerMemo moveVertex(const LayerMemo& rec);
    void selectAgain(const LayerMemo& rec);
    void selectAndLabel(const LayerMemo& rec);

    template <class Matches>
    static void purge(QList<LayerMemo>& list, Matches matches);
    void undoPurged();
    void redoPurged();

    kstVectorEditLayer* m_editLayer = nullptr;
    QList<LayerMemo> m_undoList;
    QList<LayerMemo> m_redoList;
    bool m_enable = true;
    bool m_recoverMapWhenDo = true;
};

} // namespace Kestrum
