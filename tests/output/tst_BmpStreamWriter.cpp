#include "output/BmpStreamWriter.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

using namespace kelvane::output;

namespace {

quint32 le32(const QByteArray& b, int at) {
    return quint32(uchar(b[at])) | quint32(uchar(b[at + 1])) << 8 | quint32(uchar(b[at + 2])) << 16 |
           quint32(uchar(b[at + 3])) << 24;
}

// A colour that tells where a pixel is.
std::uint32_t colourAt(int x, int y) {
    return 0xff000000u | std::uint32_t(x & 0xff) << 16 | std::uint32_t(y & 0xff) << 8 |
           std::uint32_t((x + y) & 0xff);
}

BmpStreamWriter::BandPainter pattern() {
    return [](int top, int rows, std::uint32_t* pixels, std::int64_t bytesPerLine) {
        // Each band is painted only where asked: the lines [top, top + rows).
        for (int r = 0; r < rows; ++r) {
            auto* line = reinterpret_cast<std::uint32_t*>(reinterpret_cast<char*>(pixels) + r * bytesPerLine);
            for (int x = 0; x < int(bytesPerLine / 4); ++x)
                line[x] = colourAt(x, top + r);
        }
    };
}

} // namespace

class TestBmpStreamWriter : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

private slots:
    void headerAndPixels_data() {
        QTest::addColumn<int>("width");
        QTest::addColumn<int>("height");
        QTest::addColumn<qint64>("bandBytes");
        QTest::newRow("one band") << 7 << 5 << qint64(1 << 20);
        QTest::newRow("bands of 3 lines, last one short") << 7 << 11 << qint64(7 * 4 * 3);
        QTest::newRow("a line per band") << 4 << 6 << qint64(1);
        QTest::newRow("width needs padding") << 5 << 3 << qint64(5 * 4 * 2);
    }
    void headerAndPixels() {
        QFETCH(int, width);
        QFETCH(int, height);
        QFETCH(qint64, bandBytes);
        const QString path = m_dir.filePath("picture"); // as chosen: no extension
        std::int64_t lastDone = 0;
        BmpStreamWriter::write(
            path, width, height, pattern(),
            [&](std::int64_t done, std::int64_t total) {
                lastDone = done;
                return total == height;
            },
            bandBytes);
        QCOMPARE(lastDone, std::int64_t(height));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        const int stride = (width * 3 + 3) & ~3;
        QCOMPARE(bytes.left(2), QByteArray("BM"));
        QCOMPARE(le32(bytes, 2), quint32(bytes.size()));
        QCOMPARE(bytes.size(), 54 + stride * height);
        QCOMPARE(le32(bytes, 10), 54u);
        QCOMPARE(int(le32(bytes, 18)), width);
        QCOMPARE(int(le32(bytes, 22)), height); // bottom-up
        QCOMPARE(uchar(bytes[28]), uchar(24));
        // Every pixel where the picture had it: the file's first line is the picture's last.
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                const int at = 54 + (height - 1 - y) * stride + x * 3;
                const std::uint32_t want = colourAt(x, y);
                const std::uint32_t got = 0xff000000u | uint(uchar(bytes[at + 2])) << 16 |
                                          uint(uchar(bytes[at + 1])) << 8 | uchar(bytes[at]);
                if (got != want)
                    QFAIL(qPrintable(QString("pixel %1,%2 is %3").arg(x).arg(y).arg(got, 8, 16)));
            }
    }

    void beyondTheFormat_data() {
        QTest::addColumn<qint64>("width");
        QTest::addColumn<qint64>("height");
        QTest::addColumn<bool>("fits");
        QTest::newRow("just under 4 GB") << qint64(65536) << qint64(21845) << true;
        QTest::newRow("over 4 GB") << qint64(65536) << qint64(21846) << false;
        QTest::newRow("wider than a 32-bit side") << (qint64(1) << 31) << qint64(1) << false;
        QTest::newRow("empty") << qint64(0) << qint64(10) << false;
    }
    void beyondTheFormat() {
        QFETCH(qint64, width);
        QFETCH(qint64, height);
        QFETCH(bool, fits);
        QCOMPARE(!BmpStreamWriter::sizeProblem(width, height).has_value(), fits);
    }

    void tooLargeOrCancelledLeavesNoFile() {
        QTemporaryDir dir;
        const QString path = dir.filePath("big.bmp");
        bool painted = false;
        try {
            BmpStreamWriter::write(path, 70000, 70000,
                                   [&](int, int, std::uint32_t*, std::int64_t) { painted = true; });
            QFAIL("a picture beyond the format was written");
        } catch (const ExportError& e) {
            QVERIFY2(e.text().contains("too large"), e.what());
        }
        QVERIFY(!painted); // refused before any work or memory
        QVERIFY_THROWS_EXCEPTION(ExportCancelled, BmpStreamWriter::write(
                                                      path, 10, 10, pattern(),
                                                      [](std::int64_t, std::int64_t) { return false; }, 40));
        QVERIFY(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).isEmpty());
        // A folder that can't be written: the system's reason.
        try {
            BmpStreamWriter::write(dir.filePath("missing/big.bmp"), 10, 10, pattern());
            QFAIL("written into a missing folder");
        } catch (const ExportError& e) {
            QVERIFY2(e.text().contains("No such file or directory"), e.what());
        }
    }
};

QTEST_GUILESS_MAIN(TestBmpStreamWriter)
#include "tst_BmpStreamWriter.moc"
