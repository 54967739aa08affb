#include "details/DetailFormLayouts.h"
#include "store/AllEventsLayout.h"
#include "store/EventCatalogue.h"
#include "store/EventItems.h"
#include "store/Schema.h"

#include <QtTest>

#include <set>
#include <string>

using namespace kelvane;

class TestEventCatalogue : public QObject {
    Q_OBJECT

private slots:
    // Every type's facts hold together: a new type that misses one of them fails here, not in a view.
    void everyTypeIsWhole() {
        std::set<int> ids;
        std::set<std::string> tables;
        for (const EventTypeInfo& type : catalogue::types()) {
            const QByteArray label = QByteArray::number(type.id);
            QVERIFY2(ids.insert(type.id).second, label);
            QVERIFY2(tables.insert(type.table).second, label);
            QVERIFY2(*type.correlationItem != '\0' || *type.correlationLiteral != '\0', label);
            const TableDef* table = schema::table(type.table);
            QVERIFY2(table && table->fields.data() == type.fields.data(), label);
            for (const char* column : {"UtcTime", "FID", "Computer", "RuleName"})
                QVERIFY2(catalogue::columnOfItem(type, column), label + ' ' + column);
            for (std::string_view item : type.items)
                QVERIFY2(catalogue::columnOfItem(type, type.id == 15 && item == "Hash" ? "Hashes" : item),
                         label + ' ' + item.data());
            if (*type.correlationItem)
                QVERIFY2(catalogue::columnOfItem(type, type.correlationItem), label);
            for (std::string_view column : type.searchColumns) {
                // SQLite matches column names without regard to case.
                const std::string name(column.substr(0, column.find('#')));
                bool found = false;
                for (const FieldDef& f : type.fields)
                    found = found ||
                            QString(f.name).compare(QString::fromStdString(name), Qt::CaseInsensitive) == 0;
                QVERIFY2(found, label + ' ' + name.c_str());
            }
            for (const ImageFeed& feed : type.imageFeeds)
                for (const char* column : {feed.image, feed.imageExe, feed.guid})
                    QVERIFY2(catalogue::columnOfItem(type, column), label + ' ' + column);
            if (type.summaryFeeds & SummaryFeed::Hashes)
                QVERIFY2(catalogue::columnOfItem(type, "MD5"), label);
            QCOMPARE(std::string(detailViewForEventType(type.id).table), std::string(type.table));
            QVERIFY2(detailforms::layout(type.detailForm), label);
            QCOMPARE(type.reachesProcessView(), *type.filterCaption != '\0');
            QCOMPARE(std::string(catalogue::readerDisplayName(type.id)), std::string(type.displayName));
        }
        QCOMPARE(ids.size(), size_t(30));
        for (int unknown : {0, 30, 254, 256, -1})
            QVERIFY(!catalogue::find(unknown) && !catalogue::readerDisplayName(unknown));
    }

    void filterKeepsTheFirstOrderThenAddsByReach() {
        QStringList captions;
        for (const EventFilterEntry& entry : catalogue::processViewFilter())
            captions << entry.name;
        QCOMPARE(captions.size(), 23);
        QCOMPARE(captions.first(), QString("CreateRemoteThreadDetected"));
        QCOMPARE(captions.at(15), QString("DnsQuery"));
        QCOMPARE(captions.mid(16), (QStringList{"FileDeleteArchived", "ClipboardChanged", "ProcessTampering",
                                                "FileDeleteLogged", "FileBlockExecutable",
                                                "FileBlockShredding", "FileExecutableDetected"}));
    }

    void itemCaptions_data() {
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("caption");
        QTest::newRow("guid") << "ProcessGuid"
                              << "Process GUID";
        QTest::newRow("id") << "ProcessId"
                            << "Process ID";
        QTest::newRow("all capitals") << "ID"
                                      << "ID";
        QTest::newRow("lower words") << "ConfigurationFileHash"
                                     << "Configuration file hash";
        QTest::newRow("one word") << "Archived"
                                  << "Archived";
        QTest::newRow("utc") << "CreationUtcTime"
                             << "Creation UTC time";
    }
    void itemCaptions() {
        QFETCH(QString, item);
        QFETCH(QString, caption);
        QCOMPARE(QString(catalogue::itemCaption(item.toStdString())), caption);
    }

    void itemsLineEscapes() {
        EventItems event;
        event.gid = 12;
        event.eventId = 23;
        event.items = {{"Image", "C:\\a\\b.exe"}, {"CommandLine", "x\ty\nz"}, {"Empty", ""}};
        QCOMPARE(QString::fromStdString(itemsLine(event)),
                 QString("12\t23\tImage=C:\\\\a\\\\b.exe\tCommandLine=x\\ty\\nz\tEmpty="));
    }
};

QTEST_GUILESS_MAIN(TestEventCatalogue)
#include "tst_EventCatalogue.moc"
