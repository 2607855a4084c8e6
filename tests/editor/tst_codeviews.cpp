// SPDX-License-Identifier: MIT
#include "editor/highlighterc.h"
#include "editor/highlighterlua.h"
#include "editor/rowtreeview.h"

#include <QStandardItemModel>
#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>
#include <QtTest>

#include <memory>

namespace {

enum Kind { Plain, Keyword, LineComment, BlockComment };

// The kind of format at a position of a block, as the highlighter laid it out.
Kind kindAt(const CodeHighlighter& h, const QTextBlock& block, int position)
{
    for (const QTextLayout::FormatRange& r : block.layout()->formats()) {
        if (position < r.start || position >= r.start + r.length)
            continue;
        if (r.format == h.keywordFormat())
            return Keyword;
        if (r.format == h.singleLineCommentFormat())
            return LineComment;
        if (r.format == h.multiLineCommentFormat())
            return BlockComment;
    }
    return Plain;
}

} // namespace

Q_DECLARE_METATYPE(Kind)

class TestCodeViews : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void highlighting_data();
    void highlighting();
    void blockCommentAcrossBlocks();
    void rowTreeViewSelection();
    void rowTreeViewSubtrees();
};

void TestCodeViews::highlighting_data()
{
    QTest::addColumn<bool>("lua");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("position");
    QTest::addColumn<Kind>("kind");
    QTest::newRow("C: typedef is a keyword") << false << "typedef unsigned int T;" << 0 << Keyword;
    QTest::newRow("C: unsigned too") << false << "typedef unsigned int T;" << 8 << Keyword;
    QTest::newRow("C: the name is not") << false << "typedef unsigned int T;" << 21 << Plain;
    QTest::newRow("C: whole words only") << false << "#define interval 3" << 8 << Plain;
    QTest::newRow("C: line comment") << false << "x = 1; // enum here" << 10 << LineComment;
    QTest::newRow("C: keyword inside a line comment is comment") << false << "x = 1; // enum here" << 11
                                                                << LineComment;
    QTest::newRow("C: code before a line comment") << false << "int x; // y" << 0 << Keyword;
    QTest::newRow("C: block comment on one line") << false << "a /* b */ c" << 5 << BlockComment;
    QTest::newRow("C: after a closed block comment") << false << "a /* b */ c" << 10 << Plain;
    QTest::newRow("C: Lua words are not C keywords") << false << "local end" << 0 << Plain;
    QTest::newRow("Lua: local") << true << "local t = {}" << 0 << Keyword;
    QTest::newRow("Lua: function") << true << "function f() end" << 0 << Keyword;
    QTest::newRow("Lua: end") << true << "function f() end" << 13 << Keyword;
    QTest::newRow("Lua: dash comment") << true << "x = 1 -- note" << 8 << LineComment;
    QTest::newRow("Lua: slash comment") << true << "x = 1 // note" << 8 << LineComment;
    QTest::newRow("Lua: C words are not Lua keywords") << true << "typedef int" << 0 << Plain;
    QTest::newRow("Lua: a name") << true << "t.Mode = 3" << 2 << Plain;
}

void TestCodeViews::highlighting()
{
    QFETCH(bool, lua);
    QFETCH(QString, text);
    QFETCH(int, position);
    QFETCH(Kind, kind);
    QTextDocument doc(text);
    std::unique_ptr<CodeHighlighter> h;
    if (lua)
        h = std::make_unique<HighlighterLua>(&doc);
    else
        h = std::make_unique<HighlighterC>(&doc);
    h->rehighlight();
    QCOMPARE(kindAt(*h, doc.firstBlock(), position), kind);
}

void TestCodeViews::blockCommentAcrossBlocks()
{
    QTextDocument doc("int a; /* starts\nstill enum inside\nends */ int b;\nint c;");
    HighlighterC h(&doc);
    h.rehighlight();
    const QTextBlock first = doc.firstBlock();
    const QTextBlock second = first.next();
    const QTextBlock third = second.next();
    const QTextBlock fourth = third.next();
    QCOMPARE(first.userState(), 1);
    QCOMPARE(second.userState(), 1);
    QCOMPARE(third.userState(), 0);
    QCOMPARE(fourth.userState(), 0);
    QCOMPARE(kindAt(h, first, 0), Keyword);
    QCOMPARE(kindAt(h, first, 10), BlockComment);
    QCOMPARE(kindAt(h, second, 0), BlockComment);
    QCOMPARE(kindAt(h, second, 6), BlockComment); // "enum" in the comment is comment
    QCOMPARE(kindAt(h, third, 3), BlockComment);
    QCOMPARE(kindAt(h, third, 9), Keyword); // "int" after the close
    QCOMPARE(kindAt(h, fourth, 0), Keyword);

    // Closing the comment on the first line frees the lines below: the state
    // carries on from block to block.
    QTextCursor cursor(first);
    cursor.movePosition(QTextCursor::EndOfBlock);
    cursor.insertText(" */");
    h.rehighlightBlock(doc.firstBlock());
    QCOMPARE(doc.firstBlock().userState(), 0);
    QCOMPARE(kindAt(h, doc.firstBlock().next(), 6), Keyword);
}

void TestCodeViews::rowTreeViewSelection()
{
    QStandardItemModel model;
    for (int i = 0; i < 3; ++i)
        model.appendRow({new QStandardItem(QString::number(i)), new QStandardItem("x")});
    RowTreeView view;
    view.setModel(&model);
    view.setSelectionBehavior(QAbstractItemView::SelectRows);
    view.setSelectionMode(QAbstractItemView::ExtendedSelection);
    QSignalSpy selected(&view, qOverload<const QModelIndex&>(&RowTreeView::selectionChanged));
    QSignalSpy current(&view, &RowTreeView::currentIndexChanged);

    QVERIFY(!view.selectedItem().isValid());
    view.setCurrentIndex(model.index(1, 0));
    QCOMPARE(view.selectedItem(), model.index(1, 0));
    QCOMPARE(selected.last().at(0).value<QModelIndex>(), model.index(1, 0));
    QCOMPARE(current.last().at(0).value<QModelIndex>(), model.index(1, 0));

    view.selectionModel()->select(model.index(2, 0), QItemSelectionModel::Select | QItemSelectionModel::Rows);
    QVERIFY(!view.selectedItem().isValid());
    QVERIFY(!selected.last().at(0).value<QModelIndex>().isValid());

    selected.clear();
    view.reset();
    QCOMPARE(selected.size(), 1);
}

void TestCodeViews::rowTreeViewSubtrees()
{
    // A chain deeper than a recursive walk would like, with a side branch
    // at every level.
    QStandardItemModel model;
    const int depth = 3000;
    QStandardItem* parent = model.invisibleRootItem();
    QList<QStandardItem*> chain;
    for (int i = 0; i < depth; ++i) {
        auto* item = new QStandardItem(QString::number(i));
        auto* side = new QStandardItem("side");
        side->appendRow(new QStandardItem("leaf"));
        parent->appendRow(side);
        parent->appendRow(item);
        chain.append(item);
        parent = item;
    }
    auto* other = new QStandardItem("other");
    other->appendRow(new QStandardItem("child"));
    model.appendRow(other);

    RowTreeView view;
    view.setModel(&model);
    const QModelIndex top = chain.first()->index();
    view.expandSubtree(top);
    for (int i = 0; i < depth - 1; ++i)
        QVERIFY2(view.isExpanded(chain.at(i)->index()), qPrintable(QString::number(i)));
    QVERIFY(view.isExpanded(chain.at(depth / 2)->child(0)->index())); // a side branch
    QVERIFY(!view.isExpanded(other->index()));                          // outside the subtree

    view.setCurrentIndex(chain.at(10)->index());
    view.collapseCurrentSubtree();
    QVERIFY(view.isExpanded(chain.at(9)->index()));
    for (int i = 10; i < depth - 1; ++i)
        QVERIFY2(!view.isExpanded(chain.at(i)->index()), qPrintable(QString::number(i)));

    view.collapseSubtree(top);
    QVERIFY(!view.isExpanded(top));
    view.setCurrentIndex(other->index());
    view.expandCurrentSubtree();
    QVERIFY(view.isExpanded(other->index()));
    QVERIFY(!view.isExpanded(top));
}

QTEST_MAIN(TestCodeViews)
#include "tst_codeviews.moc"
