#include "toolkit/DiagramLayout.h"

#include <QRandomGenerator>
#include <QtTest>

using kelvane::ui::DiagramLayout;

namespace {

std::vector<DiagramLayout::Box> makeBoxes(const QList<int>& parents, const QList<int>& widths,
                                          const QList<int>& heights = {}) {
    std::vector<DiagramLayout::Box> boxes;
    for (int i = 0; i < parents.size(); ++i)
        boxes.push_back({parents[i], qreal(widths[i]), qreal(heights.isEmpty() ? 20 : heights[i])});
    return boxes;
}

} // namespace

class TestDiagramLayout : public QObject {
    Q_OBJECT

private slots:
    void invariants_data();
    void invariants();
    void packsNarrowBranchBesideWideDescendant();
    void rowQueriesMatchBruteForce();
};

void TestDiagramLayout::invariants_data() {
    QTest::addColumn<QList<int>>("parents");
    QTest::addColumn<QList<int>>("widths");
    QTest::addColumn<QList<int>>("heights");

    QTest::newRow("single box") << QList<int>{-1} << QList<int>{40} << QList<int>{30};
    QTest::newRow("parent over three")
        << QList<int>{-1, 0, 0, 0} << QList<int>{40, 30, 50, 30} << QList<int>{};
    QTest::newRow("wide parent, narrow children")
        << QList<int>{-1, 0, 0} << QList<int>{300, 20, 21} << QList<int>{};
    QTest::newRow("narrow parent, wide children")
        << QList<int>{-1, 0, 0} << QList<int>{20, 200, 201} << QList<int>{};
    QTest::newRow("two roots") << QList<int>{-1, -1, 1, 1} << QList<int>{50, 60, 70, 80} << QList<int>{};
    QTest::newRow("rows as tall as their tallest")
        << QList<int>{-1, 0, 0, 1, 2} << QList<int>{40, 40, 40, 40, 40} << QList<int>{20, 80, 20, 30, 90};
    // Depth 3 of the left chain is wide and must push the right chain's box at that depth aside.
    QTest::newRow("wide box deep in a neighbour")
        << QList<int>{-1, 0, 1, 2, 0, 4, 5} << QList<int>{40, 30, 30, 400, 30, 30, 30} << QList<int>{};
    // A small subtree between two deep ones.
    QTest::newRow("small middle subtree")
        << QList<int>{-1, 0, 1, 2, 0, 0, 5, 6, 6} << QList<int>{40, 30, 30, 150, 25, 30, 30, 150, 150}
        << QList<int>{};
    QTest::newRow("breadth-first order")
        << QList<int>{-1, 0, 0, 1, 1, 2} << QList<int>{40, 40, 40, 40, 40, 40} << QList<int>{};
}

// What every layout must give: sizes kept, no overlaps, rows in order, parents centred over children.
void TestDiagramLayout::invariants() {
    QFETCH(QList<int>, parents);
    QFETCH(QList<int>, widths);
    QFETCH(QList<int>, heights);
    const auto boxes = makeBoxes(parents, widths, heights);
    DiagramLayout layout;
    const DiagramLayout::Spacing spacing;
    layout.compute(boxes, spacing);
    QCOMPARE(layout.count(), int(boxes.size()));

    const QRectF inner = QRectF(QPointF(0, 0), layout.size())
                             .adjusted(spacing.margin, spacing.margin, -spacing.margin, -spacing.margin);
    for (int i = 0; i < layout.count(); ++i) {
        const QRectF& r = layout.rect(i);
        QCOMPARE(r.size(), QSizeF(boxes[i].width, boxes[i].height));
        QVERIFY2(inner.contains(r), qPrintable(QString("box %1 outside the drawing").arg(i)));
        QCOMPARE(r.top(), layout.rowTop(layout.depth(i)));
        for (int j = i + 1; j < layout.count(); ++j) {
            const QRectF grown = r.adjusted(-spacing.horizontal + 1, 0, spacing.horizontal - 1, 0);
            QVERIFY2(!grown.intersects(layout.rect(j)),
                     qPrintable(QString("boxes %1 and %2 too close").arg(i).arg(j)));
        }
    }
    for (int d = 0; d + 1 < layout.rowCount(); ++d)
        QCOMPARE(layout.rowTop(d + 1), layout.rowTop(d) + layout.rowHeight(d) + spacing.vertical);

    for (int p = 0; p < layout.count(); ++p) {
        QList<int> kids;
        for (int c = 0; c < layout.count(); ++c)
            if (parents[c] == p)
                kids << c;
        for (int k = 1; k < kids.size(); ++k)
            QVERIFY(layout.rect(kids[k - 1]).right() < layout.rect(kids[k]).left());
        if (kids.isEmpty())
            continue;
        const qreal mid = (DiagramLayout::centreX(layout.rect(kids.first())) +
                           DiagramLayout::centreX(layout.rect(kids.last()))) /
                          2;
        QVERIFY2(qAbs(DiagramLayout::centreX(layout.rect(p)) - mid) <= 1,
                 qPrintable(QString("box %1 not centred over its children").arg(p)));
    }
}

// Contours, not bounding boxes: a leaf beside a narrow box stands close even if that box has a wide child.
void TestDiagramLayout::packsNarrowBranchBesideWideDescendant() {
    const auto boxes = makeBoxes({-1, 0, 1, 0}, {40, 20, 300, 20});
    DiagramLayout layout;
    const DiagramLayout::Spacing spacing;
    layout.compute(boxes, spacing);
    QCOMPARE(layout.rect(3).left() - layout.rect(1).right(), spacing.horizontal);
}

void TestDiagramLayout::rowQueriesMatchBruteForce() {
    QRandomGenerator random(7);
    std::vector<DiagramLayout::Box> boxes;
    for (int i = 0; i < 400; ++i)
        boxes.push_back({i == 0 ? -1 : int(random.bounded(i)), qreal(10 + random.bounded(90)),
                         qreal(10 + random.bounded(40))});
    DiagramLayout layout;
    layout.compute(boxes, DiagramLayout::Spacing{});
    for (int q = 0; q < 200; ++q) {
        // Every other query starts exactly on an edge, where off-by-one searches go wrong.
        const QRectF& edge = layout.rect(random.bounded(layout.count()));
        const qreal left = q % 2 ? edge.right() : random.bounded(layout.size().width());
        const qreal right = left + random.bounded(300);
        const qreal top = q % 2 ? edge.bottom() : random.bounded(layout.size().height());
        const qreal bottom = top + random.bounded(200);
        const auto [firstRow, endRow] = layout.rowsBetween(top, bottom);
        for (int d = 0; d < layout.rowCount(); ++d) {
            const bool meets = layout.rowTop(d) <= bottom && layout.rowTop(d) + layout.rowHeight(d) >= top;
            QCOMPARE(d >= firstRow && d < endRow, meets);
            const auto [first, end] = layout.rowRange(d, left, right);
            const std::vector<int>& row = layout.row(d);
            for (int k = 0; k < int(row.size()); ++k) {
                const QRectF& r = layout.rect(row[k]);
                QCOMPARE(k >= first && k < end, r.right() >= left && r.left() <= right);
            }
        }
    }
}

QTEST_MAIN(TestDiagramLayout)
#include "tst_DiagramLayout.moc"
