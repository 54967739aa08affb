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
        int plain, link, editable, tall;
        Fixture() {
            plain = grid.addRow("Image", "Image");
            link = grid.addRow("ProcessGuid", "Process GUID", {.link = true, .hint = "Click me"});
            editable = grid.addRow("Operation", "Operation", {.editable = true});
            tall = grid.addRow("CallTrace", "Call trace", {.lines = 6});
            for (int row = 0; row < grid.rowCount(); ++row)
                grid.setValue(row, grid.rowName(row) + " value");
            grid.resize(360, 300);
            grid.show();
            grid.activateWindow();
            grid.setFocus();
        }
        QPoint valueCentre(int row) const { return grid.valueRect(row).center(); }
        QPoint captionCentre(int row) const {
            const QRect value = grid.valueRect(row);
            return QPoint(grid.headerWidth() / 2, value.center().y());
        }
    };

private slots:
    void linkClicks_data() {
        QTest::addColumn<QString>("gesture");
        QTest::addColumn<int>("expected");
        QTest::newRow("one click on the link") << "click link" << 1;
        QTest::newRow("double click follows once") << "double link" << 1;
        QTest::newRow("click on the link's caption") << "click caption" << 0;
        QTest::newRow("click on a plain value") << "click plain" << 0;
        QTest::newRow("enter on the link") << "enter link" << 1;
        QTest::newRow("press on link, release elsewhere") << "drag off" << 0;
    }

    void linkClicks() {
        QFETCH(QString, gesture);
        QFETCH(int, expected);
        Fixture f;
        QSignalSpy spy(&f.grid, &TPropertyGrid::linkClicked);
        QWidget* viewport = f.grid.viewport();
        if (gesture == "click link") {
            QTest::mouseClick(viewport, Qt::LeftButton, {}, f.valueCentre(f.link));
        } else if (gesture == "double link") {
            QTest::mouseClick(viewport, Qt::LeftButton, {}, f.valueCentre(f.link));
            QTest::mouseDClick(viewport, Qt::LeftButton, {}, f.valueCentre(f.link));
        } else if (gesture == "click caption") {
            QTest::mouseClick(viewport, Qt::LeftButton, {}, f.captionCentre(f.link));
        } else if (gesture == "click plain") {
            QTest::mouseClick(viewport, Qt::LeftButton, {}, f.valueCentre(f.plain));
        } else if (gesture == "enter link") {
            f.grid.setCurrentIndex(f.grid.model()->index(f.link, 1));
            QTest::keyClick(&f.grid, Qt::Key_Return);
        } else if (gesture == "drag off") {
            QTest::mousePress(viewport, Qt::LeftButton, {}, f.valueCentre(f.link));
            QTest::mouseRelease(viewport, Qt::LeftButton, {}, f.valueCentre(f.plain));
        }
        QCOMPARE(spy.count(), expected);
        if (expected > 0)
            QCOMPARE(spy.first().first().toInt(), f.link);
        QCOMPARE(f.grid.value(f.link), QString("ProcessGuid value"));
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
        const QString before = f.grid.value(index);
        f.grid.setCurrentIndex(f.grid.model()->index(index, 1));
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
        QCOMPARE(f.grid.value(index), changes ? QString("typed") : before);
        QCOMPARE(edited.count(), changes ? 1 : 0);
    }

    void readOnlyValueCanBeCopied() {
        Fixture f;
        QApplication::clipboard()->clear();
        f.grid.setCurrentIndex(f.grid.model()->index(f.link, 1));
        QTest::keyClick(&f.grid, Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(QApplication::clipboard()->text(), QString("ProcessGuid value"));
    }

    void tallRowHoldsItsLines() {
        Fixture f;
        const int line = f.grid.fontMetrics().lineSpacing();
        QVERIFY(f.grid.rowHeight(f.tall) >= 6 * line);
        QVERIFY(f.grid.rowHeight(f.plain) >= line);
        QVERIFY(f.grid.rowHeight(f.plain) < 2 * line);
        // The caption column keeps its width whatever the window's.
        f.grid.setHeaderWidth(145);
        f.grid.resize(500, 300);
        QCOMPARE(f.grid.columnWidth(0), 145);
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
