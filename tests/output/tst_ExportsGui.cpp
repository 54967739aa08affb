#include "output/gui/ExportFlows.h"
#include "output/gui/TExportProgressDialog.h"
#include "store/Sqlite.h"
#include "toolkit/MessageService.h"
#include "toolkit/TNodeDiagram.h"

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

using namespace kelvane;
using namespace kelvane::output;
using ui::MessageScript;
using ui::MessageService;

namespace {

void fill(sql::Database& db, int rows) {
    db.exec("CREATE TABLE NetworkConnectionDetected (UtcTime DATETIME, ProcessId INTEGER, Image VARCHAR)");
    sql::Transaction tx(db);
    auto insert =
        db.prepare("INSERT INTO NetworkConnectionDetected VALUES ('2024-05-01 10:00:00.000', ?, ?)");
    for (int i = 0; i < rows; ++i) {
        insert.reset();
        insert.bind(1, std::int64_t(4000 + i));
        insert.bind(2, std::string_view("C:\\Tools\\tool.exe"));
        insert.run();
    }
    tx.commit();
}

GridDescription grid(const QString& where = QString()) {
    GridDescription g;
    g.title = "Network events";
    g.columns = {{"UtcTime", "UTC time"}, {"ProcessId", "Process ID"}, {"Image", "Image"}};
    g.sql = "SELECT * FROM NetworkConnectionDetected " + where + " ORDER BY rowid";
    return g;
}

QString run(const QString& program, const QStringList& args) {
    QProcess process;
    process.start(program, args);
    process.waitForFinished(60000);
    return QString::fromUtf8(process.readAllStandardOutput());
}

// The tools that read the files back are optional on a developer's machine.
bool have(const char* program) {
    return !QStandardPaths::findExecutable(QString::fromLatin1(program)).isEmpty();
}

QString pdfText(const QString& path, int page = 0) {
    QStringList args{"-layout"};
    if (page > 0)
        args << "-f" << QString::number(page) << "-l" << QString::number(page);
    return run("pdftotext", args << path << "-");
}

} // namespace

class TestExportsGui : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    sql::Database m_db{":memory:"};

private slots:
    void initTestCase() { fill(m_db, 30000); }

    void diagramToBitmap() {
        ui::TNodeDiagram diagram;
        diagram.resize(300, 200);
        auto* root = diagram.addChild(nullptr);
        root->setText("  tool.exe  ");
        root->setColor(QColor(0xFF, 0x8C, 0x00));
        for (int i = 0; i < 40; ++i) {
            auto* child = diagram.addChild(root);
            child->setText(QString("  event %1  ").arg(i));
            child->setColor(i % 2 ? QColor(0x56, 0xAC, 0xF3) : QColor(0xEE, 0x82, 0xEE));
        }
        diagram.expandAll(nullptr);
        MessageScript script;
        exportDiagramToBitmap(nullptr, diagram, false, bitmapSaveDialog());
        QCOMPARE(script.texts(), QStringList{"No content to export!"}); // and no dialog

        const QString path = m_dir.filePath("session"); // kept as typed, no extension added
        script.fileName(path);
        exportDiagramToBitmap(nullptr, diagram, true, bitmapSaveDialog());
        QCOMPARE(script.records().back().kind, QString("save"));
        QCOMPARE(script.records().back().title, QString("Export Diagram to Bitmap"));
        QCOMPARE(script.records().back().text, QString("BMP Files (*.BMP)"));
        const QImage saved(path, "BMP");
        QCOMPARE(saved.size(), diagram.drawingSize());
        diagram.expandAll(nullptr);
        for (const ui::TDiagramNode* node : {root, root->child(7)}) {
            const QRect box = node->rect();
            QCOMPARE(saved.pixelColor(box.topLeft() + QPoint(4, 4)), node->color());
        }
        // Painted in many small bands, the picture is the one painted whole.
        const QString banded = m_dir.filePath("banded.bmp");
        writeDrawingToBitmap(
            banded, diagram.drawingSize(),
            [&](QPainter& p, const QRectF& r) { diagram.paintDrawing(p, r, false); }, {},
            std::int64_t(diagram.drawingSize().width()) * 4 * 7);
        const QImage whole = diagram.renderToImage().convertToFormat(QImage::Format_RGB32);
        QCOMPARE(QImage(banded, "BMP").convertToFormat(QImage::Format_RGB32), whole);
    }

    void pdfReport_data() {
        QTest::addColumn<QString>("where");
        QTest::addColumn<bool>("rows");
        QTest::newRow("rows") << "WHERE ProcessId < 4100" << true;
        QTest::newRow("empty grid") << "WHERE ProcessId < 0" << false;
    }
    void pdfReport() {
        QFETCH(QString, where);
        QFETCH(bool, rows);
        if (!have("pdftotext") || !have("pdfinfo"))
            QSKIP("needs pdftotext and pdfinfo (poppler-utils)");
        MessageScript script;
        const QString path = m_dir.filePath(QString("events-%1").arg(rows));
        script.fileName(path);
        exportGridReport(nullptr, grid(where), &m_db, "Kelvane - Events", pdfSaveDialog());
        const QString written = path + ".PDF";                       // the dialog's default extension
        QCOMPARE(script.records().back().kind, QString("document")); // opened in the viewer
        QCOMPARE(script.records().back().text, written);
        const QString info = run("pdfinfo", {written});
        QVERIFY2(
            info.contains(QRegularExpression(R"re(Page size:\s+84[12](\.\d+)? x 595(\.\d+)? pts \(A4\))re")),
            qPrintable(info));
        QVERIFY2(info.contains(QRegularExpression(R"re(Title:\s+Sysmon Exported Report - \S)re")),
                 qPrintable(info));
        QVERIFY2(info.contains(QRegularExpression(R"re(Author:\s+Kelvane\n)re")), qPrintable(info));
        QVERIFY2(info.contains(QRegularExpression(R"re(Creator:\s+Kelvane\n)re")), qPrintable(info));
        const QString text = pdfText(written);
        QVERIFY(text.contains("Kelvane - Events"));
        QVERIFY(text.contains("Process ID"));
        QCOMPARE(text.contains("4099"), rows);
        QCOMPARE(text.contains("C:\\Tools\\tool.exe"), rows);
        if (rows)
            QVERIFY(
                info.contains(QRegularExpression(R"re(Pages:\s+[3-9]\n)re"))); // a hundred rows take pages
    }

    void mapReport() {
        if (!have("pdftotext") || !have("pdftoppm"))
            QSKIP("needs pdftotext and pdftoppm (poppler-utils)");
        MessageScript script;
        const QString path = m_dir.filePath("map.pdf");
        script.fileName(path);
        const QColor sea(0x44, 0x4E, 0x59);
        ReportPicture map{"Kelvane - Network Destinations Map", QSizeF(800, 400),
                          [&](QPainter& p, const QRectF& r) { p.fillRect(r, sea); }};
        exportGridReport(nullptr, grid("WHERE ProcessId < 4010"), &m_db, QString(), pdfSaveDialog(), map);
        const QString first = pdfText(path, 1);
        QVERIFY(first.contains("Kelvane - Network Destinations Map"));
        QVERIFY(!first.contains("Process ID"));
        QVERIFY(pdfText(path, 2).contains("4009"));
        // The map stands on the first page, under its title, fitted to the width.
        run("pdftoppm", {"-r", "20", "-f", "1", "-l", "1", "-png", path, m_dir.filePath("map")});
        const QImage page(m_dir.filePath("map-1.png"));
        QVERIFY(!page.isNull());
        QCOMPARE(page.pixelColor(page.width() / 2, page.height() / 2), sea);
        QCOMPARE(page.pixelColor(page.width() / 2, 2), QColor(Qt::white));
    }

    void pdfWrapsLongValues() {
        if (!have("pdftotext"))
            QSKIP("needs pdftotext (poppler-utils)");
        // Values far wider than a column's three inches, among short ones that size the page.
        const QString rule = "technique_id=T1036,technique_name=Masquerading";
        const QString path = "C:\\Users\\alice\\AppData\\Local\\Temp\\" + rule + "\\" +
                             QString("very-long-folder-name-").repeated(12) + "end.exe";
        const QString noBreak = QString("x").repeated(400) + "y";
        auto insert =
            m_db.prepare("INSERT INTO NetworkConnectionDetected VALUES ('2024-05-01 10:00:00.000', ?, ?)");
        for (const QString& value : {path, noBreak}) {
            insert.reset();
            insert.bind(1, std::int64_t(-1));
            insert.bind(2, value.toStdString());
            insert.run();
        }
        MessageScript script;
        const QString file = m_dir.filePath("wrapped.pdf");
        script.fileName(file);
        exportGridReport(nullptr, grid("WHERE ProcessId < 4005"), &m_db, "Kelvane - Events", pdfSaveDialog());
        m_db.exec("DELETE FROM NetworkConnectionDetected WHERE ProcessId = -1");
        QString text = pdfText(file);
        QVERIFY(!text.contains(QChar(0x2026)));
        text.remove(QRegularExpression("\\s"));
        for (const QString& value : {path, noBreak})
            QVERIFY2(text.contains(value), qPrintable(value));
        QVERIFY(text.contains("4004C:\\Tools\\tool.exe"));
    }

    void saveDialogsAndExtensions_data() {
        QTest::addColumn<int>("format");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("written");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("defaultExtension");
        const int html = int(GridFormat::Html);
        const int xlsx = int(GridFormat::Xlsx);
        QTest::newRow("html, other extension") << html << "report.txt"
                                               << "report.html"
                                               << "Export to HTML"
                                               << "*.HTML";
        QTest::newRow("html, none") << html << "plain"
                                    << "plain.html"
                                    << "Export to HTML"
                                    << "*.HTML";
        QTest::newRow("xlsx, none") << xlsx << "book"
                                    << "book.xlsx"
                                    << "Export to XLSX"
                                    << "*.HTML";
        QTest::newRow("xlsx, html typed") << xlsx << "book2.html"
                                          << "book2.xlsx"
                                          << "Export to XLSX"
                                          << "*.HTML";
    }
    void saveDialogsAndExtensions() {
        QFETCH(int, format);
        QFETCH(QString, typed);
        QFETCH(QString, written);
        QFETCH(QString, title);
        QFETCH(QString, defaultExtension);
        QTemporaryDir dir;
        MessageScript script;
        script.fileName(dir.filePath(typed));
        const auto dialog = GridFormat(format) == GridFormat::Html ? htmlSaveDialog() : xlsxSaveDialog();
        exportGrid(nullptr, GridFormat(format), grid("WHERE ProcessId < 4003"), &m_db, dialog);
        QCOMPARE(script.records().front().title, title);
        QCOMPARE(script.records().front().detail, defaultExtension);
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files), QStringList{written});
        QCOMPARE(script.texts("message"), QStringList{}); // no word of success
    }

    void overwriteAsked() {
        // The dialog asked about "book.HTML"; the file written is book.xlsx, which exists.
        QTemporaryDir dir;
        const QString existing = dir.filePath("book.xlsx");
        QFile old(existing);
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("older");
        old.close();
        for (const bool yes : {false, true}) {
            MessageScript script;
            script.fileName(dir.filePath("book")).answer(yes);
            exportGrid(nullptr, GridFormat::Xlsx, grid("WHERE ProcessId < 4003"), &m_db, xlsxSaveDialog());
            QCOMPARE(script.texts("question"),
                     QStringList{"book.xlsx already exists.\nDo you want to replace it?"});
            QCOMPARE(QFileInfo(existing).size() == 5, !yes);
        }
    }

    void cancelLeavesNoFile() {
        MessageScript script;
        const QString path = m_dir.filePath("cancelled.html");
        script.fileName(path);
        // Cancel is pressed as soon as the export lets the window breathe.
        QTimer::singleShot(0, [] {
            for (QWidget* w : QApplication::topLevelWidgets())
                if (auto* progress = qobject_cast<TExportProgressDialog*>(w))
                    progress->cancel();
        });
        exportGrid(nullptr, GridFormat::Html, grid(), &m_db, htmlSaveDialog());
        QCOMPARE(script.texts("message"),
                 QStringList{"The export was cancelled; cancelled.html was not written."});
        QVERIFY(!QFileInfo::exists(path));
        QCOMPARE(QDir(m_dir.path()).entryList({"*cancelled*", ".*"}, QDir::Files | QDir::Hidden),
                 QStringList{});
    }

    void unwritableFileSaysWhy() {
        MessageScript script;
        script.fileName(m_dir.filePath("missing/report.pdf"));
        ui::guarded(nullptr,
                    [&] { exportGridReport(nullptr, grid(), &m_db, "Kelvane - Events", pdfSaveDialog()); });
        const QStringList messages = script.texts("message");
        QCOMPARE(messages.size(), 1);
        QVERIFY2(messages[0].contains("No such file or directory"), qPrintable(messages[0]));
        QCOMPARE(script.texts("document"), QStringList{}); // nothing opened
    }
};

QTEST_MAIN(TestExportsGui)
#include "tst_ExportsGui.moc"
