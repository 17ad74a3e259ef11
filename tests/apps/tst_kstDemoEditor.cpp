#include "VectorLine.h"
#include "kstDemoEditToolBar.h"
#include "kstDemoEditor.h"
#include "kstDemoPropertiesDialog.h"
#include "kstDemoUndoActions.h"
#include "kstDemoWindow.h"
#include "kstDistanceArea.h"
#include "kstTileMapView.h"
#include "kstVectorCollect.h"
#include "kstVectorEditLayer.h"
#include "kstVectorLayer.h"
#include "kstVectorLayerMemo.h"

#include <QAction>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QMouseEvent>
#include <QTableWidget>
#include <QTimer>
#include <QtTest>

using namespace Kestrum;

class tst_kstDemoEditor : public QObject
{
    Q_OBJECT

private slots:
    void drawDeleteUndoAndConfigure();

private:
    void hover(const QPoint& p);
    QWidget* m_viewport = nullptr;
};

void tst_kstDemoEditor::hover(const QPoint& p)
{
    QMouseEvent move(QEvent::MouseMove, p, m_viewport->mapToGlobal(p), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(m_viewport, &move);
}

void tst_kstDemoEditor::drawDeleteUndoAndConfigure()
{
    kstDemoWindow window;
    window.resize(1200, 800);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    m_viewport = window.mapView()->viewport();
    kstVectorEditLayer* editLayer = window.editLayer();
    kstDemoEditToolBar* toolBar = window.editor()->toolBar();
    kstVectorLayer* layer = window.currentLayer();
    QVERIFY(layer);
    const int collects = layer->m_collects.size();
    const quint64 nextFid = layer->genFid();

    // Draw a line of three vertices.
    toolBar->modeAction(kstVectorEditLayer::NewLine)->trigger();
    QCOMPARE(editLayer->layerAction(), kstVectorEditLayer::NewLine);
    const QList<QPoint> points{QPoint(100, 600), QPoint(250, 650), QPoint(400, 600)};
    for (const QPoint& p : points) {
        hover(p);
        QTest::mouseClick(m_viewport, Qt::LeftButton, Qt::NoModifier, p);
    }
    QTest::mouseDClick(m_viewport, Qt::LeftButton, Qt::NoModifier, points.last());
    QTest::mouseRelease(m_viewport, Qt::LeftButton, Qt::NoModifier, points.last());
    QCOMPARE(layer->m_collects.size(), collects + 1);
    kstVectorCollect* created = layer->m_collects.value(nextFid);
    QVERIFY(created);
    QCOMPARE(created->m_layer, layer);
    auto* line = dynamic_cast<VectorLine*>(created->m_shapes.value(0));
    QVERIFY(line);
    QCOMPARE(line->vertexCount(), 3);
    QCOMPARE(line->linePen(), layer->m_linePen);
    kstVectorLayerMemo* memo = editLayer->memoer();
    memo->setRecoverMapWhenDo(false);
    QCOMPARE(memo->undoList().last().m_action, LayerMemo::ShapesInsert);
    QCOMPARE(memo->undoList().last().m_shapes, QList<kstVectorShape*>{line});
    QVERIFY(window.undoActions()->undoAction()->isEnabled());
    window.undoActions()->undoAction()->trigger();
    QVERIFY(!layer->m_collects.contains(nextFid));
    window.undoActions()->redoAction()->trigger();
    QCOMPARE(layer->m_collects.value(nextFid), created);

    // Select it: the status bar shows its length.
    toolBar->modeAction(kstVectorEditLayer::SelectEdit)->trigger();
    editLayer->clearSelected(); // redo selected it; a click on its edge would add a vertex
    QTest::mouseClick(m_viewport, Qt::LeftButton, Qt::NoModifier, QPoint(175, 625));
    QCOMPARE(editLayer->selectedShapes(), QList<kstVectorShape*>{line});
    QCOMPARE(window.editor()->measureLabel()->text(),
             QStringLiteral("Length %1").arg(kstDistanceArea::lengthString(line->perimeter(), false)));
    const QString shots = qEnvironmentVariable("KST_TEST_SCREENSHOTS");
    if (!shots.isEmpty())
        window.grab().save(shots + QStringLiteral("/demo_selected_line.png"));

    // Delete over a vertex removes that vertex.
    hover(points.at(1));
    QCOMPARE(line->action(), kstVectorShape::Action_MoveVertex);
    toolBar->deleteAction()->trigger();
    QCOMPARE(line->vertexCount(), 2);
    QCOMPARE(memo->undoList().last().m_action, LayerMemo::VertexRemove);

    // A double click on its body (off the edge band) opens its properties;
    // accepting writes them back.
    hover(QPoint(250, 605));
    QCOMPARE(line->action(), kstVectorShape::Action_MoveShape);
    bool shown = false;
    QTimer::singleShot(0, this, [&] {
        auto* dialog = qobject_cast<kstDemoPropertiesDialog*>(QApplication::activeModalWidget());
        shown = dialog != nullptr;
        if (!dialog)
            return;
        dialog->findChild<QLineEdit*>()->setText(QStringLiteral("新线"));
        dialog->accept();
    });
    QTest::mouseClick(m_viewport, Qt::LeftButton, Qt::NoModifier, QPoint(250, 605));
    QTest::mouseDClick(m_viewport, Qt::LeftButton, Qt::NoModifier, QPoint(250, 605));
    QTest::mouseRelease(m_viewport, Qt::LeftButton, Qt::NoModifier, QPoint(250, 605));
    QVERIFY(shown);
    QCOMPARE(created->m_text, QStringLiteral("新线"));

    // Away from vertices Delete removes the selected shapes, recorded.
    hover(QPoint(250, 605));
    toolBar->deleteAction()->trigger();
    QVERIFY(!layer->m_collects.contains(nextFid));
    QCOMPARE(memo->undoList().last().m_action, LayerMemo::ShapesRemove);
    window.undoActions()->undoAction()->trigger();
    QCOMPARE(layer->m_collects.value(nextFid), created);
    toolBar->deleteAction()->trigger();
    // The window disposes of the removed line when it closes.
}

QTEST_MAIN(tst_kstDemoEditor)
#include "tst_kstDemoEditor.moc"
