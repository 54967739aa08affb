#include "toolkit/TPropertyGrid.h"

#include <QApplication>
#include <QClipboard>
#include <QLineEdit>
#include <QSignalSpy>
#include <QtTest>

using kelvane::ui::TPropertyGrid;

class TestPropertyGrid : public QObject {
    Q_OBJECT

private:
    // A grid of one plain, one link, one editable and one tall row, shown so that it takes input.
    struct Fixture {
        TPropertyGrid grid;
        int plain, link, tall;
        Fixture() {
            plain = grid.addRow("Image", "Image");
            link = grid.addRow("ProcessGuid", "Process GUID", {.link = true, .hint = "Click me"});
            grid.addRow("Operation", "Operation", {.editable = true});
            tall = grid.addRow("CallTrace", "Call trace", {.lines = 6});
            for (int row = 0; row < grid.rowCount(); ++row)
                grid.setValue(row, grid.rowName(row) + " value");
            grid.resize(360, 300);
            grid.show();
        }
        QPoint valueCentre(int row) const { return grid.valueRect(row).center(); }
        void select(int row) { grid.setCurrentIndex(grid.model()->index(row, 1)); }
    };

private slots:
    void linkClicks_data() {
        QTest::addColumn<QString>("gesture"); // where the button goes down and up, then "double"; or enter
        QTest::addColumn<int>("expected");
        QTest::newRow("one click on the link") << "link link" << 1;
        QTest::newRow("double click follows once") << "link link double" << 1;
        QTest::newRow("click on the link's caption") << "caption caption" << 0;
        QTest::newRow("click on a plain value") << "plain plain" << 0;
        QTest::newRow("press on link, release elsewhere") << "link plain" << 0;
        QTest::newRow("enter on the link") << "enter" << 1;
    }

    void linkClicks() {
        QFETCH(QString, gesture);
        QFETCH(int, expected);
        Fixture f;
        QSignalSpy spy(&f.grid, &TPropertyGrid::linkClicked);
        const QPoint link = f.valueCentre(f.link);
        const QMap<QString, QPoint> at{{"link", link},
                                       {"caption", QPoint(f.grid.headerWidth() / 2, link.y())},
                                       {"plain", f.valueCentre(f.plain)}};
        const QStringList steps = gesture.split(' ');
        if (steps[0] == "enter") {
            f.select(f.link);
            QTest::keyClick(&f.grid, Qt::Key_Return);
        } else {
            QTest::mousePress(f.grid.viewport(), Qt::LeftButton, {}, at[steps[0]]);
            QTest::mouseRelease(f.grid.viewport(), Qt::LeftButton, {}, at[steps[1]]);
        }
        if (steps.contains("double"))
            QTest::mouseDClick(f.grid.viewport(), Qt::LeftButton, {}, link);
        QCOMPARE(spy.count(), expected);
        if (expected > 0)
            QCOMPARE(spy.first().first().toInt(), f.link);
    }

    void typingChangesOnlyEditableRows_data() {
        QTest::addColumn<QString>("row");
        QTest::addColumn<bool>("changes");
        QTest::newRow("editable") << "Operation" << true;
        QTest::newRow("read-only") << "Image" << false;
        QTest::newRow("link") << "ProcessGuid" << false;
    }

    void typingChangesOnlyEditableRows() {
        QFETCH(QString, row);
        QFETCH(bool, changes);
        Fixture f;
        QSignalSpy edited(&f.grid, &TPropertyGrid::valueEdited);
        const int index = f.grid.rowOf(row);
        f.select(index);
        QTest::keyClicks(&f.grid, "t");
        // Typing on an editable row opens its editor with the key in it; commit by Return.
        auto* editor = f.grid.viewport()->findChild<QLineEdit*>();
        QCOMPARE(editor != nullptr && editor->isVisible(), changes);
        if (editor && editor->isVisible()) {
            QTest::keyClicks(editor, "yped");
            QTest::keyClick(editor, Qt::Key_Return);
        }
        // The delegate commits on Return through a queued call.
        QCoreApplication::processEvents();
        const QString value = changes ? QString("typed") : row + " value";
        QCOMPARE(f.grid.value(index), value);
        QCOMPARE(edited.count(), changes ? 1 : 0);
        // Whether or not it takes typing, the value can be copied.
        QApplication::clipboard()->clear();
        QTest::keyClick(&f.grid, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QApplication::clipboard()->text(), value);
    }

    void tallRowHoldsItsLines() {
        Fixture f;
        const int line = f.grid.fontMetrics().lineSpacing();
        QVERIFY(f.grid.rowHeight(f.tall) >= 6 * line);
        QVERIFY(f.grid.rowHeight(f.plain) >= line && f.grid.rowHeight(f.plain) < 2 * line);
        // The caption column keeps its width whatever the window's.
        f.grid.setHeaderWidth(145);
        f.grid.resize(500, 300);
        QCOMPARE(f.grid.valueRect(f.plain).left(), 145);
        // Dragging the edge between captions and values moves it, and selects nothing.
        const int y = f.valueCentre(f.plain).y();
        QTest::mousePress(f.grid.viewport(), Qt::LeftButton, {}, QPoint(145, y));
        QMouseEvent move(QEvent::MouseMove, QPointF(200, y), f.grid.viewport()->mapToGlobal(QPointF(200, y)),
                         Qt::NoButton, Qt::LeftButton, {});
        QApplication::sendEvent(f.grid.viewport(), &move);
        QTest::mouseRelease(f.grid.viewport(), Qt::LeftButton, {}, QPoint(200, y));
        QCOMPARE(f.grid.columnWidth(0), 200);
        QVERIFY(!f.grid.selectionModel()->hasSelection());
    }

    void linksStayVisibleOnEitherBackground_data() {
        QTest::addColumn<QColor>("base");
        QTest::addColumn<QColor>("link");
        QTest::newRow("dark") << QColor(0x1F, 0x22, 0x26) << QColor(Qt::white);
        QTest::newRow("light") << QColor(Qt::white) << QColor(Qt::blue);
    }

    void linksStayVisibleOnEitherBackground() {
        QFETCH(QColor, base);
        QFETCH(QColor, link);
        TPropertyGrid grid;
        QPalette palette = grid.palette();
        palette.setColor(QPalette::Base, base);
        palette.setColor(QPalette::Link, Qt::blue);
        grid.setPalette(palette);
        QCOMPARE(grid.linkColor(), link);
    }
};

QTEST_MAIN(TestPropertyGrid)
#include "tst_PropertyGrid.moc"
