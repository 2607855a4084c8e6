// SPDX-License-Identifier: MIT
#include "editor/editormodel.h"
#include "treetext.h"
#include "writers/writerxml.h"

#include <QAbstractItemModelTester>
#include <QApplication>
#include <QClipboard>
#include <QColor>
#include <QIcon>
#include <QMimeData>
#include <QUndoStack>
#include <QtTest>

#include <memory>

using namespace QRV16;

namespace {

// Root rows: 0 comment, 1 Mode (with enums), 2 blank line, 3 Name, 4 Flags (with bits).
const QByteArray sample = R"(<?xml version="1.0"?>
<qrv16>
  <!-- head -->
  <tag name="Mode" id="0x1001" display="x">
    <enums>
      <enum name="Off" id="0"/>
      <enum name="On" id="1"/>
    </enums>
  </tag>

  <tag name="Name" id="0x3001" comment="c"/>
  <tag name="Flags" id="0x7001">
    <bits>
      <bit name="A" id="0"/>
    </bits>
  </tag>
</qrv16>
)";

const QString sampleShape =
    "R(#head T:Mode=4097(E(e:Off=0 e:On=1)) _ T:Name=12289 T:Flags=28673(B(b:A=0)))";

struct Fixture
{
    QUndoStack stack;
    EditorModel model;
    QAbstractItemModelTester tester{&model, QAbstractItemModelTester::FailureReportingMode::QtTest};

    explicit Fixture(const QByteArray& xml = sample)
    {
        model.setUndoStack(&stack);
        model.setTags(TreeText::read(xml));
    }

    // "1/0/1": row 1 of the root, its row 0, that one's row 1.
    QModelIndex at(const QString& path, int column = 0) const
    {
        QModelIndex index;
        const QStringList rows = path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
        for (int i = 0; i < rows.size(); ++i)
            index = model.index(rows[i].toInt(), i + 1 == rows.size() ? column : 0, index);
        return index;
    }

    QString shape() const { return TreeText::shape(model.root()); }
};

QMimeData* xmlData(const QByteArray& xml)
{
    auto* data = new QMimeData;
    data->setData(QStringLiteral("text/xml"), xml);
    return data;
}

QImage image(const QVariant& icon)
{
    return icon.value<QIcon>().pixmap(16, 16).toImage().convertToFormat(QImage::Format_ARGB32);
}

bool transparent(const QImage& img)
{
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x)
            if (qAlpha(img.pixel(x, y)) != 0)
                return false;
    return !img.isNull();
}

} // namespace

class TestEditorModel : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init();
    void flags_data();
    void flags();
    void icons_data();
    void icons();
    void cells_data();
    void cells();
    void setData_data();
    void setData();
    void undoTexts_data();
    void undoTexts();
    void setItemData();
    void displayModeReachesValues();
    void insertAndRemove();
    void insertList();
    void cutAndUndo();
    void paste_data();
    void paste();
    void pasteManyIsOneInsertion();
    void copyPasteRoundTrip();
    void dragAndDrop();
    void moveInsideTheTree_data();
    void moveInsideTheTree();
    void moveFromAnotherModelIsAPaste();
    void collisions();
    void negativeValueIsOneQuantity();
    void replaceAndClear();
};

void TestEditorModel::init()
{
    QApplication::clipboard()->clear();
}

void TestEditorModel::flags_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("flags");
    const int definition = Qt::ItemIsSelectable | Qt::ItemIsEditable | Qt::ItemIsDragEnabled |
                           Qt::ItemIsDropEnabled | Qt::ItemIsEnabled;
    const int container = Qt::ItemIsSelectable | Qt::ItemIsDropEnabled | Qt::ItemIsEnabled;
    QTest::newRow("a tag is edited, dragged and dropped on") << "1" << definition;
    QTest::newRow("an enum likewise") << "1/0/1" << definition;
    QTest::newRow("a bit likewise") << "4/0/0" << definition;
    QTest::newRow("a container is not edited nor dragged") << "1/0" << container;
    QTest::newRow("a comment is not edited in place")
        << "0" << int(Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemIsDropEnabled | Qt::ItemIsEnabled);
    QTest::newRow("a blank line is an empty definition") << "2" << definition;
    QTest::newRow("the root takes drops only") << "" << int(Qt::ItemIsDropEnabled);
}

void TestEditorModel::flags()
{
    QFETCH(QString, path);
    QFETCH(int, flags);
    Fixture f;
    QCOMPARE(int(f.model.flags(f.at(path))), flags);
    // Only a comment is set in italics.
    QCOMPARE(f.at(path).data(Qt::FontRole).value<QFont>().italic(), path == "0");
}

void TestEditorModel::icons_data()
{
    QTest::addColumn<int>("code"); // of a file holding one tag; -1: a row of the sample
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("icon"); // empty: a transparent one
    // A type of each family stands for the rest of the type table.
    const auto tag = [](const char* name, int code, const char* icon) {
        QTest::newRow(name) << code << QStringLiteral("0") << QString::fromLatin1(icon);
    };
    tag("integer", 0x1001, "i16_int");
    tag("request", 0xD001, "i16_question");
    tag("point", 0x8001, "i16_point");
    tag("no data type", 0xA001, "");
    QTest::newRow("enums container") << -1 << "1/0" << "i16_folder";
    QTest::newRow("bits container") << -1 << "4/0" << "i16_folder";
    QTest::newRow("enum") << -1 << "1/0/0" << "i16_list";
    QTest::newRow("bit") << -1 << "4/0/0" << "i16_tiny_bullet";
    QTest::newRow("comment") << -1 << "0" << "";
    QTest::newRow("blank line") << -1 << "2" << "";
}

// Only the name column carries the icon.
void TestEditorModel::icons()
{
    QFETCH(int, code);
    QFETCH(QString, path);
    QFETCH(QString, icon);
    Fixture f(code < 0 ? sample : QByteArray("<qrv16><tag name=\"T\" id=\"") + QByteArray::number(code) + "\"/></qrv16>");
    const QImage shown = image(f.at(path).data(Qt::DecorationRole));
    if (icon.isEmpty())
        QVERIFY(transparent(shown));
    else
        QCOMPARE(shown, image(QIcon(":/icons/" + icon + ".png")));
    QCOMPARE(f.at(path, 1).data(Qt::DecorationRole), QVariant());
}

void TestEditorModel::cells_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("column");
    QTest::addColumn<int>("role");
    QTest::addColumn<QString>("text");
    const int shown = Qt::DisplayRole;
    const int tip = Qt::ToolTipRole;
    QTest::newRow("a comment shows its text") << "0" << 0 << shown << "head";
    QTest::newRow("a blank line shows nothing") << "2" << 0 << shown << "";
    QTest::newRow("a tag code in hex") << "1" << 1 << shown << "0x1001";
    QTest::newRow("a value as its tag displays it") << "1/0/1" << 1 << shown << "0x1";
    QTest::newRow("the comment column") << "3" << 2 << shown << "c";
    QTest::newRow("name column tip names the type") << "1" << 0 << tip << "Integer";
    QTest::newRow("code column tip names the type") << "1" << 1 << tip << "Integer";
    QTest::newRow("comment column has no tip") << "1" << 2 << tip << "";
}

void TestEditorModel::cells()
{
    QFETCH(QString, path);
    QFETCH(int, column);
    QFETCH(int, role);
    QFETCH(QString, text);
    Fixture f;
    QCOMPARE(f.at(path, column).data(role).toString(), text);
}

void TestEditorModel::setData_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("column");
    QTest::addColumn<QString>("text");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QString>("undoText"); // empty: nothing pushed
    QTest::addColumn<QString>("after");    // the row's data in that column afterwards

    QTest::newRow("0x10000 into a tag's code changes nothing")
        << "1" << 1 << "0x10000" << false << "" << "0x1001";
    QTest::newRow("0x10000 into an enum's value sets it")
        << "1/0/1" << 1 << "0x10000" << true << "Change enum code" << "0x10000";
    QTest::newRow("negative enum value shown negative, in hex display too")
        << "1/0/1" << 1 << "-1" << true << "Change enum code" << "-1";
    QTest::newRow("0xFFFFFFFF stays positive") << "1/0/1" << 1 << "0xFFFFFFFF" << true << "Change enum code"
                                               << "0xFFFFFFFF";
    QTest::newRow("enum value below 32 bits is refused") << "1/0/1" << 1 << "-2147483649" << false << ""
                                                         << "0x1";
    QTest::newRow("negative tag code is out of range") << "1" << 1 << "-1" << false << "" << "0x1001";
    QTest::newRow("text that is no number is refused") << "1" << 1 << "zz" << false << "" << "0x1001";
    QTest::newRow("the same code adds nothing") << "1" << 1 << "0x1001" << true << "" << "0x1001";
    QTest::newRow("a new tag code") << "1" << 1 << "0x1005" << true << "Change tag code" << "0x1005";
    QTest::newRow("a code for a blank line") << "2" << 1 << "0x2001" << true << "Set tag code" << "0x2001";
    QTest::newRow("clearing a code adds Remove tag code") << "1" << 1 << "" << true << "Remove tag code" << "";
    QTest::newRow("clearing no code adds nothing") << "2" << 1 << "" << true << "" << "";
    QTest::newRow("a new bit number") << "4/0/0" << 1 << "5" << true << "Change bit number" << "5";
    QTest::newRow("removing an enum value") << "1/0/0" << 1 << "" << true << "Remove enum code" << "";
    QTest::newRow("the same name adds nothing") << "1" << 0 << "Mode" << true << "" << "Mode";
    QTest::newRow("a new name") << "1" << 0 << "Speed" << true << "Change name" << "Speed";
    QTest::newRow("a name for a blank line") << "2" << 0 << "Speed" << true << "Set name" << "Speed";
    QTest::newRow("removing a name") << "1/0/1" << 0 << "" << true << "Remove name" << "";
    QTest::newRow("a name the reader refuses") << "1" << 0 << "1abc" << false << "" << "Mode";
    QTest::newRow("the reserved name") << "1" << 0 << "Tag" << false << "" << "Mode";
    QTest::newRow("a new comment") << "3" << 2 << "d" << true << "Change comment" << "d";
    QTest::newRow("a first comment") << "1" << 2 << "d" << true << "Set comment" << "d";
    QTest::newRow("removing a comment") << "3" << 2 << "" << true << "Remove comment" << "";
    QTest::newRow("the same comment adds nothing") << "3" << 2 << "c" << true << "" << "c";
    QTest::newRow("a container is not edited") << "1/0" << 0 << "X" << false << "" << "Enums";
    QTest::newRow("a comment row is not edited") << "0" << 2 << "X" << false << "" << "";
}

void TestEditorModel::setData()
{
    QFETCH(QString, path);
    QFETCH(int, column);
    QFETCH(QString, text);
    QFETCH(bool, accepted);
    QFETCH(QString, undoText);
    QFETCH(QString, after);
    Fixture f;
    const QModelIndex index = f.at(path, column);
    const QString before = index.data().toString();
    QSignalSpy changed(&f.model, &QAbstractItemModel::dataChanged);

    QCOMPARE(f.model.setData(index, text), accepted);
    QCOMPARE(f.stack.count(), undoText.isEmpty() ? 0 : 1);
    QCOMPARE(index.data().toString(), after);
    if (undoText.isEmpty()) {
        QCOMPARE(f.shape(), sampleShape);
        return;
    }
    QCOMPARE(f.stack.text(0), undoText);
    QVERIFY(!changed.isEmpty());
    QSignalSpy undone(&f.model, &EditorModel::undone);
    f.stack.undo();
    QCOMPARE(index.data().toString(), before);
    QCOMPARE(f.shape(), sampleShape);
    QCOMPARE(undone.size(), 1);
    QCOMPARE(undone.at(0).at(0).value<QModelIndex>().siblingAtColumn(0), index.siblingAtColumn(0));
    f.stack.redo();
    QCOMPARE(index.data().toString(), after);
}

void TestEditorModel::undoTexts_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("text");
    QTest::newRow("insert tag") << "1" << "insert" << "Insert tag";
    QTest::newRow("insert enum") << "1/0/0" << "insert" << "Insert enum";
    QTest::newRow("insert bit") << "4/0/0" << "insert" << "Insert bit";
    QTest::newRow("remove tag") << "1" << "remove" << "Remove tag";
    QTest::newRow("remove enum") << "1/0/0" << "remove" << "Remove enum";
    QTest::newRow("remove bit") << "4/0/0" << "remove" << "Remove bit";
    QTest::newRow("cut tag") << "1" << "cut" << "Cut tag";
    QTest::newRow("cut enum") << "1/0/0" << "cut" << "Cut enum";
    QTest::newRow("cut bit") << "4/0/0" << "cut" << "Cut bit";
    QTest::newRow("bit number removed") << "4/0/0" << "uncode" << "Remove bit number";
    QTest::newRow("enum code set where none was") << "1/0/0" << "recode" << "Set enum code";
}

// Every step is an undo entry of its own, never merged with the one before,
// and named for what it did.
void TestEditorModel::undoTexts()
{
    QFETCH(QString, path);
    QFETCH(QString, operation);
    QFETCH(QString, text);
    Fixture f;
    const QModelIndex index = f.at(path);
    if (operation == "insert") {
        QVERIFY(f.model.insertRow(index.row(), index.parent()));
    } else if (operation == "remove") {
        QVERIFY(f.model.removeRow(index.row(), index.parent()));
    } else if (operation == "cut") {
        QVERIFY(f.model.cut(index));
    } else {
        QVERIFY(f.model.setData(index.siblingAtColumn(1), QString()));
        if (operation == "recode")
            QVERIFY(f.model.setData(index.siblingAtColumn(1), QStringLiteral("5")));
    }
    QCOMPARE(f.stack.count(), operation == "recode" ? 2 : 1);
    QCOMPARE(f.stack.text(f.stack.count() - 1), text);
}

void TestEditorModel::setItemData()
{
    Fixture f;
    const QModelIndex index = f.at("1");
    ItemData d = f.model.index2item(index)->data();
    QVERIFY(f.model.setItemData(index, d));
    QCOMPARE(f.stack.count(), 0);

    d.name = "Speed";
    d.id = 0x1009;
    d.secure = true;
    d.display = DisplayMode(DisplayMode::Hex, 4);
    d.type = ItemType::Bit; // never written
    QVERIFY(f.model.setItemData(index, d));
    QCOMPARE(f.stack.count(), 1);
    QCOMPARE(f.stack.text(0), QString("Change item"));
    const Item* item = f.model.index2item(index);
    QCOMPARE(item->data().type, ItemType::Tag);
    QCOMPARE(item->data().name, QString("Speed"));
    QVERIFY(item->data().secure);
    QCOMPARE(f.at("1/0/1", 1).data().toString(), QString("0x0001"));

    d.name = "9x";
    QVERIFY(!f.model.setItemData(index, d));
    d.name = "Ok";
    d.id = 0x10000;
    QVERIFY(!f.model.setItemData(index, d));
    QCOMPARE(f.stack.count(), 1);

    f.stack.undo();
    QCOMPARE(f.shape(), sampleShape);
    QVERIFY(!item->data().secure);
}

void TestEditorModel::displayModeReachesValues()
{
    Fixture f;
    const QModelIndex value = f.at("1/0/1", 1);
    QCOMPARE(value.data().toString(), QString("0x1"));
    QSignalSpy changed(&f.model, &QAbstractItemModel::dataChanged);
    ItemData d = f.model.index2item(f.at("1"))->data();
    d.display = DisplayMode();
    f.model.setItemData(f.at("1"), d);
    QCOMPARE(value.data().toString(), QString("1"));
    bool valueNotified = false;
    for (const QList<QVariant>& args : changed) {
        const QModelIndex top = args.at(0).value<QModelIndex>();
        const QModelIndex bottom = args.at(1).value<QModelIndex>();
        valueNotified |= top.parent() == value.parent() && top.row() <= 1 && bottom.row() >= 1 &&
                         bottom.column() >= 1;
    }
    QVERIFY(valueNotified);
}

void TestEditorModel::insertAndRemove()
{
    Fixture f;
    QVERIFY(f.model.insertRow(2, QModelIndex()));
    QCOMPARE(f.model.rowCount(), 6);
    QVERIFY(f.model.index2item(f.at("2"))->isNewline());

    QVERIFY(f.model.insertRow(0, f.at("1/0")));
    QVERIFY(!f.model.insertRow(0, f.at("1")));           // a tag holds containers only
    QVERIFY(!f.model.insertRow(9, QModelIndex()));       // past the end
    QVERIFY(!f.model.removeRow(6, QModelIndex()));       // out of range
    QVERIFY(!f.model.removeRow(-1, QModelIndex()));
    QCOMPARE(f.stack.count(), 2);

    QVERIFY(f.model.removeRow(4, QModelIndex())); // Name, one row further down now
    QCOMPARE(f.model.rowCount(), 5);
    while (f.stack.canUndo())
        f.stack.undo();
    QCOMPARE(f.shape(), sampleShape);
    while (f.stack.canRedo())
        f.stack.redo();
    QCOMPARE(f.shape(), "R(#head T:Mode=4097(E(_ e:Off=0 e:On=1)) _ _ T:Flags=28673(B(b:A=0)))");
}

void TestEditorModel::insertList()
{
    Fixture f;
    const QModelIndex existing = f.model.insertList(f.at("1"), ItemType::Enums);
    QCOMPARE(existing, f.at("1/0"));
    QCOMPARE(f.stack.count(), 0);

    const QModelIndex bits = f.model.insertList(f.at("1"), ItemType::Bits);
    QCOMPARE(f.stack.count(), 1);
    QCOMPARE(f.stack.text(0), QString("Insert item"));
    QCOMPARE(bits, f.at("1/0"));
    QCOMPARE(f.model.index2item(bits)->data().type, ItemType::Bits);

    const QModelIndex enums = f.model.insertList(f.at("3"), ItemType::Enums);
    QCOMPARE(enums, f.at("3/0"));
    QVERIFY(!f.model.insertList(f.at("1/1/0"), ItemType::Enums).isValid()); // not a tag
    QVERIFY(!f.model.insertList(f.at("3"), ItemType::Enum).isValid());      // not a container
    QCOMPARE(f.shape(), "R(#head T:Mode=4097(B E(e:Off=0 e:On=1)) _ T:Name=12289(E) "
                        "T:Flags=28673(B(b:A=0)))");
}

void TestEditorModel::cutAndUndo()
{
    Fixture f;
    const QModelIndex on = f.at("1/0/1");
    QVERIFY(f.model.cut(on));
    QCOMPARE(f.model.rowCount(f.at("1/0")), 1);
    const QMimeData* clip = QApplication::clipboard()->mimeData();
    QVERIFY(clip && clip->hasFormat("text/xml"));
    QVERIFY(clip->data("text/xml").contains("name=\"On\""));

    QSignalSpy undone(&f.model, &EditorModel::undone);
    f.stack.undo();
    QCOMPARE(f.shape(), sampleShape);
    QCOMPARE(undone.size(), 1);
    const QModelIndex back = undone.at(0).at(0).value<QModelIndex>();
    QCOMPARE(back, f.at("1/0/1"));
    QCOMPARE(back.data().toString(), QString("On"));
}

void TestEditorModel::paste_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QString>("undoText"); // empty: refused, dropped or pasted
    QTest::addColumn<QString>("shape");
    QByteArray deep = "<qrv16>";
    for (int i = 0; i < 5000; ++i)
        deep += "<tag>";
    QByteArray deepKnown = "<qrv16>";
    for (int i = 0; i < 5000; ++i)
        deepKnown += "<enums>";
    const auto refused = [](const char* name, const char* path, const QByteArray& xml) {
        QTest::newRow(name) << QString::fromLatin1(path) << xml << QString() << QString();
    };
    refused("truncated", "1", "<qrv16><tag name=\"A\" id=\"0x11");
    refused("deep nesting of tags", "1", deep);
    refused("deep nesting of containers", "1", deepKnown);
    refused("wrong root", "1", "<html><tag name=\"A\" id=\"1\"/></html>");
    refused("not xml", "1", "Mode=3");
    refused("empty", "1", QByteArray());
    refused("tag code out of range", "1", "<qrv16><tag name=\"A\" id=\"0x10000\"/></qrv16>");
    refused("a value with no tag to go to", "", "<qrv16><enum name=\"X\" id=\"1\"/></qrv16>");
    refused("a root in the root", "1", "<qrv16><qrv16><tag name=\"A\"/></qrv16></qrv16>");
    refused("nothing but a blank", "1", "<qrv16>\n\n</qrv16>");
    QTest::newRow("two tags are one entry Merge data")
        << "1" << QByteArray("<qrv16><tag name=\"A\" id=\"0x1101\"/><tag name=\"B\" id=\"0x1102\"/></qrv16>")
        << "Merge data"
        << "R(#head T:Mode=4097(E(e:Off=0 e:On=1)) T:A=4353 T:B=4354 _ T:Name=12289 T:Flags=28673(B(b:A=0)))";
    QTest::newRow("a tag pasted on a value goes after its tag")
        << "1/0/0" << QByteArray("<qrv16><tag name=\"A\" id=\"0x1101\"/></qrv16>") << "Insert tag"
        << "R(#head T:Mode=4097(E(e:Off=0 e:On=1)) T:A=4353 _ T:Name=12289 T:Flags=28673(B(b:A=0)))";
    QTest::newRow("a tag pasted on nothing goes last")
        << "" << QByteArray("<qrv16><tag name=\"A\" id=\"0x1101\"/></qrv16>") << "Insert tag"
        << "R(#head T:Mode=4097(E(e:Off=0 e:On=1)) _ T:Name=12289 T:Flags=28673(B(b:A=0)) T:A=4353)";
    QTest::newRow("an enum pasted on a tag joins its enums")
        << "1" << QByteArray("<qrv16><enum name=\"X\" id=\"7\"/></qrv16>") << "Insert enum"
        << "R(#head T:Mode=4097(E(e:Off=0 e:On=1 e:X=7)) _ T:Name=12289 T:Flags=28673(B(b:A=0)))";
    QTest::newRow("an enum pasted on an enum follows it")
        << "1/0/0" << QByteArray("<qrv16><enum name=\"X\" id=\"7\"/></qrv16>") << "Insert enum"
        << "R(#head T:Mode=4097(E(e:Off=0 e:X=7 e:On=1)) _ T:Name=12289 T:Flags=28673(B(b:A=0)))";
    QTest::newRow("an enum on a tag without enums brings the container")
        << "3" << QByteArray("<qrv16><enum name=\"X\" id=\"7\"/><enum name=\"Y\" id=\"8\"/></qrv16>")
        << "Insert item"
        << "R(#head T:Mode=4097(E(e:Off=0 e:On=1)) _ T:Name=12289(E(e:X=7 e:Y=8)) T:Flags=28673(B(b:A=0)))";
    QTest::newRow("an enums container merges into the tag's")
        << "1" << QByteArray("<qrv16><enums><enum name=\"X\" id=\"7\"/><enum name=\"Y\" id=\"8\"/></enums></qrv16>")
        << "Merge data"
        << "R(#head T:Mode=4097(E(e:Off=0 e:On=1 e:X=7 e:Y=8)) _ T:Name=12289 T:Flags=28673(B(b:A=0)))";
    QTest::newRow("bits go before enums")
        << "1" << QByteArray("<qrv16><bit name=\"Z\" id=\"3\"/></qrv16>") << "Insert item"
        << "R(#head T:Mode=4097(B(b:Z=3) E(e:Off=0 e:On=1)) _ T:Name=12289 T:Flags=28673(B(b:A=0)))";
    QTest::newRow("misplaced elements are left out")
        << "" << QByteArray("<qrv16><tag name=\"A\" id=\"0x1101\"><tag name=\"B\"/><enums><bit name=\"C\"/>"
                            "<enum name=\"D\" id=\"1\"/></enums></tag></qrv16>")
        << "Insert tag"
        << "R(#head T:Mode=4097(E(e:Off=0 e:On=1)) _ T:Name=12289 T:Flags=28673(B(b:A=0)) T:A=4353(E(e:D=1)))";
}

void TestEditorModel::paste()
{
    QFETCH(QString, path);
    QFETCH(QByteArray, xml);
    QFETCH(QString, undoText);
    QFETCH(QString, shape);
    Fixture f;
    std::unique_ptr<QMimeData> data(xmlData(xml));
    if (undoText.isEmpty()) {
        data->setText(QString::fromLatin1(xml));
        QVERIFY(!f.model.paste(f.at(path), data.get()));
        QVERIFY(!f.model.dropMimeData(data.get(), Qt::CopyAction, -1, -1, f.at(path)));
        QCOMPARE(f.stack.count(), 0);
        QCOMPARE(f.shape(), sampleShape);
        return;
    }
    QVERIFY(f.model.paste(f.at(path), data.get()));
    QCOMPARE(f.shape(), shape);
    QCOMPARE(f.stack.count(), 1);
    QCOMPARE(f.stack.text(0), undoText);
    f.stack.undo();
    QCOMPARE(f.shape(), sampleShape);
    f.stack.redo();
    QCOMPARE(f.shape(), shape);
}

void TestEditorModel::pasteManyIsOneInsertion()
{
    // Thousands of tags go in, out and back in as one block each: one
    // insertion per step keeps paste, undo and redo linear.
    Fixture f;
    QByteArray xml = "<qrv16>";
    for (int i = 0; i < 2000; ++i)
        xml += "<tag name=\"P" + QByteArray::number(i) + "\" id=\"" + QByteArray::number(0x2000 + i) + "\"/>";
    xml += "</qrv16>";
    QSignalSpy inserted(&f.model, &QAbstractItemModel::rowsInserted);
    QSignalSpy removed(&f.model, &QAbstractItemModel::rowsRemoved);
    std::unique_ptr<QMimeData> data(xmlData(xml));
    QVERIFY(f.model.paste(f.at("1"), data.get()));
    QCOMPARE(f.model.rowCount(), 5 + 2000);
    QCOMPARE(inserted.size(), 1);
    QCOMPARE(inserted.at(0).at(1).toInt(), 2);
    QCOMPARE(inserted.at(0).at(2).toInt(), 2001);
    // Pasted after the row pasted on, in their order, the rest moved down.
    QCOMPARE(f.at("2").data().toString(), QString("P0"));
    QCOMPARE(f.at("2001").data().toString(), QString("P1999"));
    QCOMPARE(f.at("4").data().toString(), QString("P2"));
    QCOMPARE(f.model.index2item(f.at("2004"))->data().name, QString("Flags"));
    QCOMPARE(f.model.index2item(f.at("2004"))->row(), 2004);
    f.stack.undo();
    QCOMPARE(removed.size(), 1);
    QCOMPARE(f.shape(), sampleShape);
    f.stack.redo();
    QCOMPARE(inserted.size(), 2);
    QCOMPARE(f.model.rowCount(), 5 + 2000);
    QCOMPARE(f.at("2001").data().toString(), QString("P1999"));

    // Pasted again, every tag has a double: the marks come in one
    // relayout, not a signal per row that the view would answer with a
    // walk over all rows.
    for (int r = 0; r < f.model.rowCount(); ++r)
        f.at(QString::number(r)).data(EditorModel::CollisionRole);
    QSignalSpy changed(&f.model, &QAbstractItemModel::dataChanged);
    QSignalSpy relaid(&f.model, &QAbstractItemModel::layoutChanged);
    QVERIFY(f.model.paste(f.at("1"), data.get()));
    QCOMPARE(f.at("2").data(EditorModel::CollisionRole).toInt(), int(NameCollision | IdCollision));
    QCOMPARE(f.at("4001").data(EditorModel::CollisionRole).toInt(), int(NameCollision | IdCollision));
    QCOMPARE(changed.size(), 0);
    QCOMPARE(relaid.size(), 1);
}

void TestEditorModel::copyPasteRoundTrip()
{
    Fixture f;
    std::unique_ptr<QMimeData> data(f.model.copy(f.at("1")));
    QVERIFY(data);
    QVERIFY(data->hasFormat("text/xml"));
    QCOMPARE(data->text().toUtf8(), data->data("text/xml"));
    QVERIFY(f.model.paste(f.at("3"), data.get()));
    QCOMPARE(*f.model.index2item(f.at("4")), *f.model.index2item(f.at("1")));

    // Plain text alone is read as well.
    std::unique_ptr<QMimeData> plain(new QMimeData);
    plain->setText(data->text());
    QVERIFY(f.model.paste(QModelIndex(), plain.get()));
    QCOMPARE(*f.model.index2item(f.at("6")), *f.model.index2item(f.at("1")));
    QCOMPARE(f.stack.count(), 2);
}

void TestEditorModel::dragAndDrop()
{
    Fixture f;
    QVERIFY(f.model.mimeTypes().contains("text/plain"));
    std::unique_ptr<QMimeData> dragged(
        f.model.mimeData({f.at("4"), f.at("4", 1), f.at("4", 2)}));
    QVERIFY(dragged);
    QVERIFY(!f.model.mimeData({f.at("1"), f.at("3")}));

    QVERIFY(f.model.dropMimeData(dragged.get(), Qt::IgnoreAction, -1, -1, f.at("1")));
    QVERIFY(!f.model.dropMimeData(dragged.get(), Qt::CopyAction, 0, 0, QModelIndex()));
    QVERIFY(!f.model.canDropMimeData(dragged.get(), Qt::CopyAction, 1, 0, QModelIndex()));
    QCOMPARE(f.stack.count(), 0);

    // A copy from elsewhere is a paste.
    QVERIFY(f.model.dropMimeData(dragged.get(), Qt::CopyAction, -1, -1, f.at("1")));
    QCOMPARE(f.stack.count(), 1);
    QCOMPARE(f.shape(), "R(#head T:Mode=4097(E(e:Off=0 e:On=1)) T:Flags=28673(B(b:A=0)) _ T:Name=12289 "
                        "T:Flags=28673(B(b:A=0)))");
}

void TestEditorModel::moveInsideTheTree_data()
{
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("onto");
    QTest::addColumn<QString>("undoText"); // empty: refused
    QTest::addColumn<QString>("shape");
    const auto refused = [](const char* name, const char* from, const char* onto) {
        QTest::newRow(name) << QString::fromLatin1(from) << QString::fromLatin1(onto) << QString()
                            << QString();
    };
    refused("a tag onto itself", "1", "1");
    refused("a tag into its own enum list", "1", "1/0");
    refused("a tag onto its own enum", "1", "1/0/1");
    QTest::newRow("a tag up behind another")
        << "4" << "1" << "Move tag"
        << "R(#head T:Mode=4097(E(e:Off=0 e:On=1)) T:Flags=28673(B(b:A=0)) _ T:Name=12289)";
    QTest::newRow("a tag down behind another")
        << "1" << "3" << "Move tag"
        << "R(#head _ T:Name=12289 T:Mode=4097(E(e:Off=0 e:On=1)) T:Flags=28673(B(b:A=0)))";
    QTest::newRow("an enum within its list")
        << "1/0/0" << "1/0/1" << "Move enum"
        << "R(#head T:Mode=4097(E(e:On=1 e:Off=0)) _ T:Name=12289 T:Flags=28673(B(b:A=0)))";
    QTest::newRow("an enum to a tag without enums")
        << "1/0/1" << "3" << "Move enum"
        << "R(#head T:Mode=4097(E(e:Off=0)) _ T:Name=12289(E(e:On=1)) T:Flags=28673(B(b:A=0)))";
}

// A drag inside the tree is one undo step, and the view is told not to
// remove the source again.
void TestEditorModel::moveInsideTheTree()
{
    QFETCH(QString, from);
    QFETCH(QString, onto);
    QFETCH(QString, undoText);
    QFETCH(QString, shape);
    Fixture f;
    std::unique_ptr<QMimeData> dragged(f.model.mimeData({f.at(from)}));
    QVERIFY(dragged);
    if (undoText.isEmpty()) {
        QVERIFY(!f.model.dropMimeData(dragged.get(), Qt::MoveAction, -1, -1, f.at(onto)));
        QCOMPARE(f.stack.count(), 0);
        QCOMPARE(f.shape(), sampleShape);
        return;
    }
    QVERIFY(f.model.canDropMimeData(dragged.get(), Qt::MoveAction, -1, -1, f.at(onto)));
    QVERIFY(!f.model.dropMimeData(dragged.get(), Qt::MoveAction, -1, -1, f.at(onto)));
    QCOMPARE(f.shape(), shape);
    QCOMPARE(f.stack.count(), 1);
    QCOMPARE(f.stack.undoText(), undoText);
    f.stack.undo();
    QCOMPARE(f.shape(), sampleShape);
    f.stack.redo();
    QCOMPARE(f.shape(), shape);
}

void TestEditorModel::moveFromAnotherModelIsAPaste()
{
    Fixture source;
    Fixture f;
    std::unique_ptr<QMimeData> dragged(source.model.mimeData({source.at("3")}));
    QVERIFY(f.model.dropMimeData(dragged.get(), Qt::MoveAction, -1, -1, f.at("1")));
    QCOMPARE(f.stack.count(), 1);
    QCOMPARE(f.shape(), "R(#head T:Mode=4097(E(e:Off=0 e:On=1)) T:Name=12289 _ T:Name=12289 "
                        "T:Flags=28673(B(b:A=0)))");
    // A forged source path is not trusted.
    auto forged = std::make_unique<QMimeData>();
    forged->setData(QStringLiteral("text/xml"), dragged->data(QStringLiteral("text/xml")));
    for (const QString& format : dragged->formats()) {
        if (format.contains(QLatin1String("source"))) {
            QByteArray bytes = dragged->data(format);
            bytes.chop(4);
            forged->setData(format, bytes);
        }
    }
    QVERIFY(f.model.dropMimeData(forged.get(), Qt::MoveAction, -1, -1, f.at("1")));
    QCOMPARE(f.stack.count(), 2);
}

void TestEditorModel::collisions()
{
    Fixture f;
    QCOMPARE(f.at("1").data(EditorModel::CollisionRole).toInt(), 0);
    QCOMPARE(f.at("1").data(Qt::BackgroundRole), QVariant());
    QSignalSpy changed(&f.model, &QAbstractItemModel::dataChanged);
    QVERIFY(f.model.setData(f.at("3", 0), "Mode"));
    QCOMPARE(f.at("1").data(EditorModel::CollisionRole).toInt(), int(NameCollision));
    QCOMPARE(f.at("3").data(EditorModel::CollisionRole).toInt(), int(NameCollision));
    QVERIFY(f.at("1").data(Qt::BackgroundRole).canConvert<QColor>());
    QVERIFY(f.at("1").data(Qt::ToolTipRole).toString().contains("Another tag has the name Mode"));
    bool siblingNotified = false;
    for (const QList<QVariant>& args : changed)
        siblingNotified |= args.at(0).value<QModelIndex>() == f.at("1");
    QVERIFY(siblingNotified);

    QVERIFY(f.model.setData(f.at("3", 1), "0x1001"));
    QCOMPARE(f.at("1").data(EditorModel::CollisionRole).toInt(), int(NameCollision | IdCollision));
    QVERIFY(f.at("3", 1).data(Qt::ToolTipRole).toString().contains("Another tag has the code 0x1001"));
    QCOMPARE(f.model.findCollision(f.model.index2item(f.at("3"))),
             f.model.index2item(f.at("3"))->findCollision());

    changed.clear();
    f.stack.undo();
    f.stack.undo();
    QCOMPARE(f.at("1").data(EditorModel::CollisionRole).toInt(), 0);
    QCOMPARE(f.at("1").data(Qt::BackgroundRole), QVariant());
    siblingNotified = false;
    for (const QList<QVariant>& args : changed)
        siblingNotified |= args.at(0).value<QModelIndex>() == f.at("1");
    QVERIFY(siblingNotified);

    // A removed clashing row takes its clash along.
    QVERIFY(f.model.setData(f.at("3", 0), "Mode"));
    QVERIFY(f.model.removeRow(3, QModelIndex()));
    QCOMPARE(f.at("1").data(EditorModel::CollisionRole).toInt(), 0);
    f.stack.undo();
    QCOMPARE(f.at("3").data(EditorModel::CollisionRole).toInt(), int(NameCollision));
}

void TestEditorModel::negativeValueIsOneQuantity()
{
    // The tree stores a typed -1 as the file reader and the item dialog do,
    // so it saves as -1 and finds the file's -1 as its double.
    Fixture f(R"(<qrv16>
  <tag name="Mode" id="0x1001">
    <enums>
      <enum name="All" id="-1"/>
      <enum name="Off" id="0"/>
      <enum name="Top" id="0xFFFFFFFF"/>
    </enums>
  </tag>
</qrv16>)");
    QCOMPARE(f.at("0/0/1", 1).data(EditorModel::CollisionRole).toInt(), 0);
    QVERIFY(f.model.setData(f.at("0/0/1", 1), "-1"));
    QCOMPARE(f.model.index2item(f.at("0/0/1"))->data().id, ~quint64(0));
    QCOMPARE(f.at("0/0/1", 1).data().toString(), QString("-1"));
    QCOMPARE(f.at("0/0/0", 1).data(EditorModel::CollisionRole).toInt(), int(IdCollision));
    QCOMPARE(f.at("0/0/1", 1).data(EditorModel::CollisionRole).toInt(), int(IdCollision));
    QCOMPARE(f.at("0/0/2", 1).data(EditorModel::CollisionRole).toInt(), 0);
    QVERIFY(WriterXml().encode(f.model.root()).contains("<enum name=\"Off\" id=\"-1\"/>"));
}

void TestEditorModel::replaceAndClear()
{
    Fixture f;
    std::unique_ptr<Item> original(f.model.root()->clone());
    f.model.undoableClear();
    QCOMPARE(f.model.rowCount(), 0);
    QCOMPARE(f.stack.text(0), QString("New"));
    f.model.undoableSetTags(TreeText::read("<qrv16><tag name=\"Z\" id=\"1\"/></qrv16>"));
    QCOMPARE(f.stack.text(1), QString("Replace data"));
    QCOMPARE(f.shape(), "R(T:Z=1)");
    f.stack.undo();
    f.stack.undo();
    QCOMPARE(*f.model.root(), *original);
    f.stack.redo();
    QCOMPARE(f.model.rowCount(), 0);

    // Set without undo, a tree takes the history along.
    f.model.setTags(TreeText::read(sample));
    QCOMPARE(f.stack.count(), 0);
    f.model.clear();
    QCOMPARE(f.model.rowCount(), 0);
    QCOMPARE(f.model.root()->data().type, ItemType::Root);
}

QTEST_MAIN(TestEditorModel)
#include "tst_editormodel.moc"
