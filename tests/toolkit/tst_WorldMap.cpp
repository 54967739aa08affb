#include "toolkit/TWorldMap.h"
#include "toolkit/WorldOutlines.h"

#include <QPainter>
#include <QSignalSpy>
#include <QtTest>

#include <set>

using namespace kelvane::ui;

class TestWorldMap : public QObject {
    Q_OBJECT

    std::vector<TMapShape> m_world = loadWorldOutlines();

    static QPointF at(double longitude, double latitude) { return projectNaturalEarth(longitude, latitude); }

    // A map of the real outlines, shown and laid out, with every shape black and France lit.
    std::unique_ptr<TWorldMap> shownMap() {
        auto map = std::make_unique<TWorldMap>(m_world);
        map->resize(800, 420);
        map->show();
        if (!QTest::qWaitForWindowExposed(map.get()))
            return nullptr;
        map->beginUpdate();
        for (int i = 0; i < map->shapeCount(); ++i) {
            map->shape(i).color = map->shape(i).code == "FR" ? QColor(0xF5, 0x66, 0x2D) : QColor(Qt::black);
            map->shape(i).value = map->shape(i).code == "FR" ? 7 : 0;
        }
        map->endUpdate();
        return map;
    }

    QPoint onScreen(const TWorldMap& map, double longitude, double latitude) {
        return map.planeTransform(map.rect()).map(at(longitude, latitude)).toPoint();
    }

private slots:
    void outlinesHaveCodesAndNames() {
        QVERIFY(m_world.size() > 1000);
        std::set<QString> codes;
        for (const TMapShape& s : m_world) {
            QVERIFY2(QRegularExpression("^[A-Z]{2}$").match(s.code).hasMatch(), qPrintable(s.code));
            QVERIFY2(!s.label.isEmpty(), qPrintable(s.code));
            codes.insert(s.code);
        }
        for (const char* code : {"SG", "MT", "BH", "LU", "XK", "FJ", "RU", "AQ", "CY", "SO", "US"})
            QVERIFY2(codes.count(code), code);
    }

    void hitTest_data() {
        QTest::addColumn<double>("longitude");
        QTest::addColumn<double>("latitude");
        QTest::addColumn<QString>("code");
        QTest::newRow("Paris") << 2.35 << 48.86 << "FR";
        QTest::newRow("Corsica") << 9.1 << 42.2 << "FR";
        QTest::newRow("French Guiana") << -53.0 << 4.0 << "FR";
        QTest::newRow("Reunion") << 55.5 << -21.1 << "FR";
        QTest::newRow("Fiji, Viti Levu") << 178.0 << -17.8 << "FJ";
        QTest::newRow("Fiji, Vanua Levu") << 179.2 << -16.5 << "FJ";
        QTest::newRow("Russia, Chukotka east of 180") << -175.0 << 66.5 << "RU";
        QTest::newRow("Russia, Chukotka west of 180") << 175.0 << 67.0 << "RU";
        QTest::newRow("Antarctica, both sides") << 179.0 << -85.0 << "AQ";
        QTest::newRow("Antarctica, far side") << -179.0 << -85.0 << "AQ";
        QTest::newRow("Lesotho inside South Africa") << 28.2 << -29.5 << "LS";
        QTest::newRow("South Africa") << 24.0 << -30.0 << "ZA";
        QTest::newRow("Singapore") << 103.82 << 1.35 << "SG";
        QTest::newRow("Malta") << 14.44 << 35.88 << "MT";
        QTest::newRow("Bahrain") << 50.55 << 26.05 << "BH";
        QTest::newRow("Luxembourg") << 6.13 << 49.61 << "LU";
        QTest::newRow("Kosovo") << 20.9 << 42.6 << "XK";
        QTest::newRow("Northern Cyprus") << 33.6 << 35.25 << "CY";
        QTest::newRow("Somaliland") << 45.0 << 9.5 << "SO";
        QTest::newRow("Atlantic") << -30.0 << 0.0 << "";
        QTest::newRow("Caspian Sea") << 51.0 << 42.0 << "";
        // A ring cut badly at the 180th meridian spans the map and covers the ocean.
        QTest::newRow("Pacific") << -160.0 << 10.0 << "";
        QTest::newRow("Pacific south of Fiji") << 179.9 << -30.0 << "";
        QTest::newRow("Bering Sea") << -179.0 << 58.0 << "";
    }

    void hitTest() {
        QFETCH(double, longitude);
        QFETCH(double, latitude);
        QFETCH(QString, code);
        const int index = shapeAt(m_world, at(longitude, latitude));
        QCOMPARE(index < 0 ? QString() : m_world[size_t(index)].code, code);
    }

    void malformedFilesThrow_data() {
        QTest::addColumn<QByteArray>("data");
        QByteArray good;
        good += "KWM1";
        good += QByteArray("\x01\x00", 2) + "FR" + char(6) + "France" + QByteArray("\x01\x00\x01\x00", 4);
        good += QByteArray("\x03\x00\x00\x00", 4) + QByteArray("\x00\x00\x14\x00\x14\x14", 6);
        QVERIFY(readWorldOutlines(good).size() == 1);
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("wrong magic") << QByteArray("XXXX").append(good.mid(4));
        QTest::newRow("cut short") << good.left(good.size() - 1);
        QTest::newRow("trailing") << good + "x";
        QTest::newRow("huge point count") << good.left(good.size() - 10) + QByteArray("\xff\xff\xff\x7f", 4);
    }

    void malformedFilesThrow() {
        QFETCH(QByteArray, data);
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, readWorldOutlines(data));
    }

    void rendersLitAndDarkCountries() {
        auto map = shownMap();
        QVERIFY(map);
        QImage image(map->size(), QImage::Format_RGB32);
        QPainter painter(&image);
        map->render(painter, image.rect());
        painter.end();
        QCOMPARE(QColor(image.pixel(onScreen(*map, 2.5, 46.5))), QColor(0xF5, 0x66, 0x2D));
        QCOMPARE(QColor(image.pixel(onScreen(*map, 20, 0))), QColor(Qt::black)); // Congo
        QCOMPARE(QColor(image.pixel(onScreen(*map, -30, 0))), TWorldMap::kBackground);
    }

    void clickWithAnyButtonNamesTheShape_data() {
        QTest::addColumn<Qt::MouseButton>("button");
        QTest::newRow("left") << Qt::LeftButton;
        QTest::newRow("right") << Qt::RightButton;
        QTest::newRow("middle") << Qt::MiddleButton;
    }

    void clickWithAnyButtonNamesTheShape() {
        QFETCH(Qt::MouseButton, button);
        auto map = shownMap();
        QVERIFY(map);
        QSignalSpy clicked(map.get(), &TWorldMap::shapeClicked);
        QTest::mouseClick(map.get(), button, {}, onScreen(*map, 2.35, 46.5));
        QTest::mouseClick(map.get(), button, {}, onScreen(*map, -30, 0)); // the sea: no shape
        QCOMPARE(clicked.size(), 1);
        QCOMPARE(map->shape(clicked[0][0].toInt()).code, QString("FR"));
        QCOMPARE(clicked[0][1].value<Qt::MouseButton>(), button);
    }

    void wheelZoomKeepsThePointUnderTheMouse() {
        auto map = shownMap();
        QVERIFY(map);
        const QPoint paris = onScreen(*map, 2.35, 48.86);
        const QRectF before = map->visibleArea();
        QWheelEvent wheel(paris, map->mapToGlobal(paris), QPoint(), QPoint(0, 360), Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(map.get(), &wheel);
        QVERIFY(map->visibleArea().width() < before.width() / 1.5);
        QVERIFY((onScreen(*map, 2.35, 48.86) - paris).manhattanLength() <= 2);
        // Zooming out stops at the whole world.
        map->zoomAt(paris, 1e-3);
        QCOMPARE(map->visibleArea().size(), map->worldArea().size());
    }

    void dragsScrollAndZoom() {
        auto map = shownMap();
        QVERIFY(map);
        QSignalSpy clicked(map.get(), &TWorldMap::shapeClicked);
        map->zoomAt(map->rect().center(), 4);

        // The left button drags the map along, and a drag is no click.
        const QPoint from = onScreen(*map, 2.35, 46.5);
        QTest::mousePress(map.get(), Qt::LeftButton, {}, from);
        QTest::mouseMove(map.get(), from + QPoint(30, 20));
        QTest::mouseMove(map.get(), from + QPoint(60, 40));
        QTest::mouseRelease(map.get(), Qt::LeftButton, {}, from + QPoint(60, 40));
        QVERIFY((onScreen(*map, 2.35, 46.5) - (from + QPoint(60, 40))).manhattanLength() <= 1);
        QCOMPARE(clicked.size(), 0);

        // The right button's rectangle comes to fill the view, centred, at one scale for x and y.
        const QRect box(QPoint(300, 150), QSize(120, 40));
        const QPointF centre = map->planeTransform(map->rect()).inverted().map(QRectF(box).center());
        QTest::mousePress(map.get(), Qt::RightButton, {}, box.topLeft());
        QTest::mouseMove(map.get(), box.center());
        QTest::mouseMove(map.get(), box.bottomRight());
        QTest::mouseRelease(map.get(), Qt::RightButton, {}, box.bottomRight());
        const QTransform t = map->planeTransform(map->rect());
        QCOMPARE(t.m11(), t.m22());
        QVERIFY((t.map(centre) - QRectF(map->rect()).center()).manhattanLength() < 1);
        QVERIFY(qAbs(t.m11() * map->visibleArea().width() - map->width()) < 2);

        // A rectangle dragged up and to the left shows the whole world again.
        QTest::mousePress(map.get(), Qt::RightButton, {}, QPoint(400, 300));
        QTest::mouseMove(map.get(), QPoint(350, 250));
        QTest::mouseMove(map.get(), QPoint(300, 200));
        QTest::mouseRelease(map.get(), Qt::RightButton, {}, QPoint(300, 200));
        QCOMPARE(map->visibleArea(), map->worldArea());
        QCOMPARE(clicked.size(), 0);
    }

    // The picture on screen is cached, moved while scrolling and stretched while zooming: wherever the
    // view goes, France must be drawn where the view puts it.
    void screenFollowsTheView() {
        auto map = shownMap();
        QVERIFY(map);
        auto pixelAt = [&](double longitude, double latitude) {
            return QColor(map->grab().toImage().pixel(onScreen(*map, longitude, latitude)));
        };
        const QColor lit(0xF5, 0x66, 0x2D);
        const QPoint france = onScreen(*map, 2.5, 46.5);
        map->grab(); // the picture to stretch
        for (int i = 0; i < 6; ++i) {
            QWheelEvent wheel(france, map->mapToGlobal(france), QPoint(), QPoint(0, 120), Qt::NoButton,
                              Qt::NoModifier, Qt::NoScrollPhase, false);
            QApplication::sendEvent(map.get(), &wheel);
        }
        // Near the west coast and off it: stretched at once, drawn again when the wheel rests.
        QCOMPARE(pixelAt(-1.5, 47.5), lit);
        QCOMPARE(pixelAt(-6, 46), TWorldMap::kBackground);
        QTest::qWait(300);
        QCOMPARE(pixelAt(-1.5, 47.5), lit);
        QCOMPARE(pixelAt(-6, 46), TWorldMap::kBackground);

        const QPoint from = map->rect().center();
        QTest::mousePress(map.get(), Qt::LeftButton, {}, from);
        for (int step = 1; step <= 10; ++step) {
            QTest::mouseMove(map.get(), from + QPoint(25 * step, 10 * step));
            QCOMPARE(pixelAt(-1.5, 47.5), lit);
            QCOMPARE(pixelAt(-6, 46), TWorldMap::kBackground);
        }
        QTest::mouseRelease(map.get(), Qt::LeftButton, {}, from + QPoint(250, 100));
        QTRY_COMPARE(pixelAt(-1.5, 47.5), lit);
    }

    void tipFollowsTheMouse() {
        auto map = shownMap();
        QVERIFY(map);
        QTest::mouseMove(map.get(), onScreen(*map, 2.35, 46.5));
        QCOMPARE(map->tipText(), QString("France: 7"));
        QTest::mouseMove(map.get(), onScreen(*map, 20, 0));
        QVERIFY(map->tipText().endsWith(": 0"));
        QTest::mouseMove(map.get(), onScreen(*map, -30, 0));
        QCOMPARE(map->hoveredShape(), -1);
        QCOMPARE(map->tipText(), QString());
    }
};

QTEST_MAIN(TestWorldMap)
#include "tst_WorldMap.moc"
