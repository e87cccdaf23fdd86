#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockLibraryContainer.h>
#include <KvBlockLibrary/FallbackBlockContainer.h>
#include <KvSystem/System.h>

#include "LocalBlockContainer.h"
#include "ScratchStorage.h"
#include "StorageTreeText.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtCore/QUuid>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <functional>
#include <memory>

namespace {

const QString UserA = QStringLiteral("{0aaaaaaa-0000-0000-0000-000000000000}");
const QString UserB = QStringLiteral("{0bbbbbbb-0000-0000-0000-000000000000}");
const QByteArray LibraryType(";type=\"blocklibrary\" version=\"0\"\r\n\r\n");
const QByteArray SegmentType(";type=\"groupsegment\" version=\"0\"\r\n\r\n");

// The base class with its protected storage operations opened for the test.
class TestContainer : public BlockLibraryContainer
{
public:
    using BlockLibraryContainer::load;
    using BlockLibraryContainer::save;
    bool isLocalContainer() const override { return false; }
};

using Streams = QList<QPair<QString, QByteArray>>;

// A container storage: the given streams plus an empty "Blocks" unless told otherwise.
std::unique_ptr<ScratchStorage> storageWith(const Streams &streams, bool withBlocks = true)
{
    auto storage = std::make_unique<ScratchStorage>();
    if (storage->isValid())
        StorageTreeText::write(storage->root(), withBlocks ? streams + Streams{{QStringLiteral("Blocks/Content.txt"), {}}} : streams);
    return storage;
}

template<typename Container>
bool loadFrom(Container &container, const Streams &streams, bool withBlocks = true)
{
    std::unique_ptr<ScratchStorage> storage = storageWith(streams, withBlocks);
    return storage->isValid() && container.load(storage->root());
}

// What save() wrote into a fresh storage.
template<typename Container>
QStringList savedTree(Container &container, QByteArray *info = nullptr)
{
    ScratchStorage storage;
    container.save(storage.root());
    if (info)
        *info = storage.root()->readStream(QStringLiteral("Info.ini"));
    return StorageTreeText::lines(storage.root());
}

Streams info(const QByteArray &body)
{
    return {{QStringLiteral("Info.ini"), LibraryType + body}};
}

Streams segment(const QString &number, const QByteArray &names)
{
    return {{QStringLiteral("Groupsegments/%1/Info.ini").arg(number), SegmentType + "[Names]\r\n" + names}};
}

Text text(const QList<QPair<int, QString>> &values)
{
    Text result;
    for (const auto &value : values)
        result.setText(value.first, value.second);
    return result;
}

QList<bool> arguments(const QSignalSpy &spy)
{
    QList<bool> values;
    for (const QList<QVariant> &call : spy)
        values << call.at(0).toBool();
    return values;
}

// A user block with one version, ready to be copied.
Block *userBlock(const QString &identifier, const QString &shortName)
{
    Block *block = Block::createBlock(identifier);
    block->setShortName(shortName);
    block->setName(Text(1, shortName + QStringLiteral(" name")));
    block->createDefinition()->setDescriptionText(shortName.toUtf8());
    return block;
}

using Step = std::function<bool(TestContainer &)>;

} // namespace

Q_DECLARE_METATYPE(Step)

class tst_Containers : public QObject
{
    Q_OBJECT

private slots:
    void cleanup();

    void freshIdentifier();
    void setType_data();
    void setType();
    void modifiedTransitions_data();
    void modifiedTransitions();

    void infoBytes_data();
    void infoBytes();
    void fixedContainerWritesNothing();
    void readDescription_data();
    void readDescription();
    void groupSegments_data();
    void groupSegments();
    void groupNamesOutliveLoadAndClear();

    void fallbackIdentity();
    void fallbackInsertCopiesOnce();
    void fallbackInsertIgnores_data();
    void fallbackInsertIgnores();
    void fallbackClearDefersDeletion();

    void localAnswers_data();
    void localAnswers();
    void localWithoutDefinitionIsReadOnly();
};

void tst_Containers::cleanup()
{
    System::instance()->setCurrentAccessLevel(7);
}

void tst_Containers::freshIdentifier()
{
    TestContainer container;
    TestContainer other;
    QCOMPARE(container.identifier().size(), 38);
    QVERIFY(container.identifier().startsWith(QLatin1Char('{')));
    QVERIFY(!QUuid(container.identifier()).isNull());
    QVERIFY(container.identifier() != other.identifier());
}

void tst_Containers::setType_data()
{
    QTest::addColumn<uint>("value");
    QTest::addColumn<uint>("expected");

    QTest::newRow("zero-ignored") << 0u << 255u;
    QTest::newRow("255-ignored") << 255u << 255u;
    QTest::newRow("256-taken") << 256u << 256u;
    QTest::newRow("largest-taken") << 4294967295u << 4294967295u;
}

void tst_Containers::setType()
{
    QFETCH(uint, value);

    TestContainer container;
    QSignalSpy modified(&container, &BlockLibraryContainer::modifiedChanged);
    container.setType(value);
    QTEST(container.type(), "expected");
    QCOMPARE(modified.count(), 0);

    // A container made fixed by its file takes no value below 256 either.
    QVERIFY(loadFrom(container, info("[Info]\r\nType=3\r\n")));
    container.setType(value);
    QCOMPARE(container.type(), value >= 256 ? value : 3u);
}

void tst_Containers::modifiedTransitions_data()
{
    QTest::addColumn<Step>("setup");
    QTest::addColumn<Step>("step");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QList<bool>>("emitted");
    QTest::addColumn<bool>("modified");

    const Step nothing = [](TestContainer &) { return true; };
    const Step insert = [](TestContainer &c) {
        c.library()->insertBlock(Block::createBlock(QStringLiteral("SystemBlock_1")));
        return true;
    };
    const Step makeFixed = [](TestContainer &c) { return loadFrom(c, info("[Info]\r\nType=3\r\n")); };
    const Step save = [](TestContainer &c) { return savedTree(c), true; };
    const Step setModifiedTwice = [](TestContainer &c) { return c.setModified(), c.setModified(), true; };
    const Step clear = [](TestContainer &c) { return c.clear(), true; };
    const Step plainProperties = [](TestContainer &c) {
        c.setName(Text(1, QStringLiteral("Antriebe")));
        c.setIdentifier(QStringLiteral("{lib}"));
        c.setReadOnly(true);
        c.saveRequested();
        return c.name() == Text(1, QStringLiteral("Antriebe")) && c.identifier() == QStringLiteral("{lib}") && c.readOnly();
    };
    const Step newVersion = [](TestContainer &c) { return c.library()->block(QStringLiteral("SystemBlock_1"))->createDefinition(); };
    const Step groupPath = [](TestContainer &c) {
        return c.library()->block(QStringLiteral("SystemBlock_1"))->setGroupPath(QStringLiteral("G")), true;
    };
    const QByteArray block(";type=\"block\" version=\"0\"\r\n");
    const Streams twoBlocks = info("[Info]\r\n") + Streams{{QStringLiteral("Blocks/SystemBlock_1/Info.ini"), block},
                                                            {QStringLiteral("Blocks/SystemBlock_2/Info.ini"), block}};
    const auto load = [](const Streams &streams, bool withBlocks = true) {
        return Step([=](TestContainer &c) { return loadFrom(c, streams, withBlocks); });
    };

    QTest::newRow("plain-properties-silent") << nothing << plainProperties << true << QList<bool>() << false;
    QTest::newRow("insert-block") << nothing << insert << true << QList<bool>{true} << true;
    QTest::newRow("block-changed-inside") << insert << newVersion << true << QList<bool>{true} << true;
    QTest::newRow("group-path-set") << insert << groupPath << true << QList<bool>() << true;
    QTest::newRow("set-modified-twice") << nothing << setModifiedTwice << true << QList<bool>{true, true} << true;
    QTest::newRow("clear-empty") << nothing << clear << true << QList<bool>() << true;
    QTest::newRow("clear-with-blocks") << insert << clear << true << QList<bool>{true} << true;
    QTest::newRow("save-editable") << insert << save << true << QList<bool>{false} << false;
    QTest::newRow("save-fixed") << makeFixed << save << true << QList<bool>() << false;
    QTest::newRow("fixed-set-modified") << makeFixed << setModifiedTwice << true << QList<bool>() << false;
    QTest::newRow("fixed-insert") << makeFixed << insert << true << QList<bool>() << false;
    QTest::newRow("load-empty-library") << nothing << load(info("[Info]\r\n")) << true << QList<bool>{false} << false;
    QTest::newRow("load-two-blocks") << nothing << load(twoBlocks, false) << true << QList<bool>{true, true, false} << false;
    QTest::newRow("load-without-info") << nothing << load({}) << false << QList<bool>() << true;
    QTest::newRow("load-wrong-kind") << nothing << load({{QStringLiteral("Info.ini"), block}}) << false << QList<bool>() << true;
    QTest::newRow("load-without-blocks") << nothing << load(info("[Info]\r\n"), false) << false << QList<bool>{false} << false;
    QTest::newRow("load-fixed-file") << nothing << makeFixed << true << QList<bool>{false} << false;
}

void tst_Containers::modifiedTransitions()
{
    QFETCH(Step, setup);
    QFETCH(Step, step);

    TestContainer container;
    QVERIFY(setup(container));
    QSignalSpy modified(&container, &BlockLibraryContainer::modifiedChanged);

    QTEST(step(container), "result");
    QTEST(arguments(modified), "emitted");
    QTEST(container.modified(), "modified");
}

void tst_Containers::infoBytes_data()
{
    QTest::addColumn<bool>("readOnly");
    QTest::addColumn<uint>("type");
    QTest::addColumn<Text>("name");
    QTest::addColumn<QByteArray>("expected");

    const QByteArray head = LibraryType + "[Info]\r\nIdentifier={lib}\r\n";
    QTest::newRow("defaults") << false << 0u << Text() << head + "ReadOnly=0\r\nType=255\r\n\r\n[Names]\r\n";
    QTest::newRow("read-only-type-300") << true << 300u << Text(1, QStringLiteral("Antriebe"))
                                        << head + "ReadOnly=1\r\nType=300\r\n\r\n[Names]\r\n1=Antriebe\r\n";
    QTest::newRow("languages-ascending") << false << 256u << text({{7, QStringLiteral("sieben")}, {2, QStringLiteral("zwei")}})
                                         << head + "ReadOnly=0\r\nType=256\r\n\r\n[Names]\r\n2=zwei\r\n7=sieben\r\n";
    QTest::newRow("umlaut-one-latin1-byte") << false << 0u << Text(1, QStringLiteral("Grün"))
                                            << head + "ReadOnly=0\r\nType=255\r\n\r\n[Names]\r\n1=Gr\xfcn\r\n";
    QTest::newRow("beyond-latin1") << false << 0u << Text(1, QStringLiteral("5 €"))
                                   << head + "ReadOnly=0\r\nType=255\r\n\r\n[Names]\r\n1=5 ?\r\n";
}

void tst_Containers::infoBytes()
{
    QFETCH(bool, readOnly);
    QFETCH(uint, type);
    QFETCH(Text, name);

    TestContainer container;
    container.setIdentifier(QStringLiteral("{lib}"));
    container.setReadOnly(readOnly);
    container.setType(type);
    container.setName(name);
    QByteArray written;
    const QStringList tree = savedTree(container, &written);
    QTEST(written, "expected");
    QCOMPARE(tree.filter(QStringLiteral("storage ")), QStringList{QStringLiteral("storage Blocks")});
}

void tst_Containers::fixedContainerWritesNothing()
{
    TestContainer container;
    QVERIFY(loadFrom(container, info("[Info]\r\nType=254\r\n")));
    container.library()->insertBlock(Block::createBlock(QStringLiteral("SystemBlock_1")));
    QCOMPARE(savedTree(container), QStringList());
}

void tst_Containers::readDescription_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<bool>("result");
    QTest::addColumn<QString>("identifier");
    QTest::addColumn<bool>("readOnly");
    QTest::addColumn<uint>("type");
    QTest::addColumn<Text>("name");

    const QString kept = QStringLiteral("{before}");
    QTest::newRow("full") << LibraryType + "[Info]\r\nIdentifier={lib}\r\nReadOnly=1\r\nType=300\r\n\r\n[Names]\r\n1=Antriebe\r\n2=Drives\r\n"
                          << true << "{lib}" << true << 300u
                          << text({{1, QStringLiteral("Antriebe")}, {2, QStringLiteral("Drives")}});
    QTest::newRow("read-only-2") << LibraryType + "[Info]\r\nReadOnly=2\r\n" << true << kept << false << 255u << Text();
    QTest::newRow("read-only-not-a-number") << LibraryType + "[Info]\r\nReadOnly=yes\r\n" << true << kept << false << 255u << Text();
    QTest::newRow("type-3-fixed") << LibraryType + "[Info]\r\nType=3\r\n" << true << kept << false << 3u << Text();
    QTest::newRow("type-not-a-number") << LibraryType + "[Info]\r\nType=x\r\n" << true << kept << false << 0u << Text();
    QTest::newRow("type-absent") << LibraryType + "[Info]\r\nIdentifier=L\r\n" << true << "L" << false << 255u << Text();
    QTest::newRow("no-info-section") << LibraryType + "[Names]\r\n1=A\r\n" << true << kept << false << 255u << Text(1, QStringLiteral("A"));
    QTest::newRow("names-skip-non-numbers") << LibraryType + "[Names]\r\n1=A\r\nx=B\r\n07=C\r\n" << true << kept << false << 255u
                                            << text({{1, QStringLiteral("A")}, {7, QStringLiteral("C")}});
    // Written as Latin-1, read as UTF-8: a name saved with an umlaut does not come back.
    QTest::newRow("utf8-values") << LibraryType + "[Info]\r\nIdentifier=Bibliothek-\xc3\xa4\r\n[Names]\r\n1=Gr\xc3\xbcn\r\n"
                                 << true << QStringLiteral("Bibliothek-ä") << false << 255u << Text(1, QStringLiteral("Grün"));
    QTest::newRow("wrong-kind") << QByteArray(";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nIdentifier=x\r\n")
                                << false << kept << false << 255u << Text();
}

void tst_Containers::readDescription()
{
    QFETCH(QByteArray, stream);

    TestContainer container;
    container.setIdentifier(QStringLiteral("{before}"));
    container.setName(Text(1, QStringLiteral("before")));
    container.setReadOnly(true);
    container.setType(400);

    QTEST(loadFrom(container, {{QStringLiteral("Info.ini"), stream}}), "result");
    QTEST(container.identifier(), "identifier");
    QTEST(container.readOnly(), "readOnly");
    QTEST(container.type(), "type");
    QTEST(container.name(), "name");
}

void tst_Containers::groupSegments_data()
{
    QTest::addColumn<Streams>("segments");
    QTest::addColumn<QList<uint>>("numbers");
    QTest::addColumn<QList<Text>>("names");

    const QByteArray names = "1=Regler\r\n2=Controllers\r\n";
    const Text regler = text({{1, QStringLiteral("Regler")}, {2, QStringLiteral("Controllers")}});
    const QString path = QStringLiteral("Groupsegments/1/Info.ini");

    QTest::newRow("two-segments") << segment(QStringLiteral("1"), names) + segment(QStringLiteral("12"), "1=Achsen\r\n")
                                  << QList<uint>{1, 12} << QList<Text>{regler, Text(1, QStringLiteral("Achsen"))};
    QTest::newRow("leading-zero") << segment(QStringLiteral("07"), names) << QList<uint>{7} << QList<Text>{regler};
    QTest::newRow("not-numbers") << segment(QStringLiteral("x1"), names) + segment(QStringLiteral("1x"), names)
                                            + segment(QStringLiteral("-1"), names) + segment(QStringLiteral(" 1"), names)
                                 << QList<uint>() << QList<Text>();
    QTest::newRow("library-kind") << Streams{{path, LibraryType + "[Names]\r\n1=A\r\n"}} << QList<uint>() << QList<Text>();
    QTest::newRow("no-names-section") << Streams{{path, SegmentType + "[Info]\r\n1=A\r\n"}} << QList<uint>() << QList<Text>();
    QTest::newRow("no-info-stream") << Streams{{QStringLiteral("Groupsegments/1/Names.ini"), SegmentType + "[Names]\r\n" + names}}
                                    << QList<uint>() << QList<Text>();
    QTest::newRow("utf8-names") << segment(QStringLiteral("3"), "1=Gr\xc3\xbcn\r\nx=y\r\n")
                                << QList<uint>{3} << QList<Text>{Text(1, QStringLiteral("Grün"))};
    QTest::newRow("lower-case-storage") << Streams{{QStringLiteral("groupsegments/1/Info.ini"), SegmentType + "[Names]\r\n" + names}}
                                        << QList<uint>() << QList<Text>();
}

void tst_Containers::groupSegments()
{
    QFETCH(Streams, segments);
    QFETCH(QList<uint>, numbers);
    QFETCH(QList<Text>, names);

    TestContainer container;
    QSignalSpy groups(&container, &BlockLibraryContainer::groupsChanged);
    QVERIFY(loadFrom(container, info("[Info]\r\n") + segments));

    QHash<unsigned int, Text> expected;
    for (int i = 0; i < numbers.size(); ++i)
        expected.insert(numbers.at(i), names.at(i));
    QCOMPARE(container.groupNames(), expected);
    QCOMPARE(groups.count(), 0);
}

void tst_Containers::groupNamesOutliveLoadAndClear()
{
    TestContainer container;
    QVERIFY(loadFrom(container, info("[Info]\r\nIdentifier={first}\r\n") + segment(QStringLiteral("1"), "1=A1\r\n")
                                        + segment(QStringLiteral("2"), "1=A2\r\n")));
    QVERIFY(loadFrom(container, info("[Info]\r\n") + segment(QStringLiteral("2"), "1=B2\r\n") + segment(QStringLiteral("3"), "1=B3\r\n")));
    const QHash<unsigned int, Text> expected{{1, Text(1, QStringLiteral("A1"))},
                                             {2, Text(1, QStringLiteral("B2"))},
                                             {3, Text(1, QStringLiteral("B3"))}};
    QCOMPARE(container.groupNames(), expected);
    // The second file names no identifier: the first one's stays, through clear() as well.
    QCOMPARE(container.identifier(), QStringLiteral("{first}"));

    container.clear();
    QCOMPARE(container.groupNames(), expected);
    QCOMPARE(container.identifier(), QStringLiteral("{first}"));
    // Group segments are read, never written.
    const QStringList tree = savedTree(container);
    QCOMPARE(tree.filter(QStringLiteral("storage ")), QStringList{QStringLiteral("storage Blocks")});
    QCOMPARE(tree.filter(QStringLiteral("Groupsegments")), QStringList());
}

void tst_Containers::fallbackIdentity()
{
    FallbackBlockContainer container;
    QVERIFY(!container.isLocalContainer());
    std::unique_ptr<ScratchStorage> stored =
        storageWith(info("[Info]\r\nIdentifier={other}\r\nReadOnly=0\r\nType=255\r\n\r\n[Names]\r\n1=Ersatz\r\n"));
    QVERIFY(stored->isValid());
    QSignalSpy modified(&container, &BlockLibraryContainer::modifiedChanged);
    QVERIFY(container.load(stored->root()));
    container.setIdentifier(QStringLiteral("{set}"));
    container.setReadOnly(false);
    QCOMPARE(container.identifier(), QStringLiteral("fallback"));
    QVERIFY(container.readOnly());
    QVERIFY(container.library()->readOnly());
    QCOMPARE(container.name(), Text(1, QStringLiteral("Ersatz")));
    QCOMPARE(arguments(modified), QList<bool>{false});

    // The stored description says what the container answers, not what was set or loaded.
    QByteArray written;
    savedTree(container, &written);
    QCOMPARE(written, LibraryType + "[Info]\r\nIdentifier=fallback\r\nReadOnly=1\r\nType=255\r\n\r\n[Names]\r\n1=Ersatz\r\n");
    QCOMPARE(arguments(modified), (QList<bool>{false, false}));
}

void tst_Containers::fallbackInsertCopiesOnce()
{
    FallbackBlockContainer container;
    TestContainer home;
    Block *original = userBlock(UserA, QStringLiteral("a"));
    home.library()->insertBlock(original);
    QSignalSpy modified(&container, &BlockLibraryContainer::modifiedChanged);

    container.insert(original);
    QCOMPARE(arguments(modified), QList<bool>{true});
    Block *copy = container.library()->block(UserA);
    QVERIFY(copy && copy != original);
    QVERIFY(copy->isFallbackBlock());
    QCOMPARE(copy->ownerLibrary(), container.library());
    QCOMPARE(copy->shortName(), QStringLiteral("a"));
    QCOMPARE(copy->blockDefinition(0)->descriptionText(), QByteArray("a"));
    // The original stays where it was, untouched.
    QCOMPARE(original->parent(), home.library());
    QVERIFY(!original->isFallbackBlock());
    QCOMPARE(home.library()->block(UserA), original);

    // A second insertion of that identifier keeps the first copy and changes nothing.
    original->setShortName(QStringLiteral("second"));
    container.insert(original);
    QCOMPARE(container.library()->blockIdentifiers(), QList<QString>{UserA});
    QCOMPARE(container.library()->block(UserA), copy);
    QCOMPARE(copy->shortName(), QStringLiteral("a"));
    QCOMPARE(modified.count(), 1);
}

void tst_Containers::fallbackInsertIgnores_data()
{
    QTest::addColumn<QString>("identifier"); // empty: a null block
    QTest::addColumn<bool>("local");

    QTest::newRow("null") << QString() << false;
    QTest::newRow("system-block") << "SystemBlock_1" << false;
    QTest::newRow("standard-block") << "StandardBlock_250000" << false;
    QTest::newRow("local-block") << UserA << true;
}

void tst_Containers::fallbackInsertIgnores()
{
    QFETCH(QString, identifier);
    QFETCH(bool, local);

    std::unique_ptr<Block> owner(Block::createUserBlock());
    BlockDefinition *definition = owner->createDefinition();
    std::unique_ptr<Block> alone;
    Block *block = identifier.isEmpty() ? nullptr : userBlock(identifier, QStringLiteral("x"));
    if (local)
        definition->localBlockLibrary()->insertBlock(block);
    else
        alone.reset(block);

    FallbackBlockContainer container;
    QSignalSpy modified(&container, &BlockLibraryContainer::modifiedChanged);
    container.insert(block);
    QVERIFY(container.library()->blockIdentifiers().isEmpty());
    QCOMPARE(modified.count(), 0);
    QVERIFY(!container.modified());
}

void tst_Containers::fallbackClearDefersDeletion()
{
    FallbackBlockContainer container;
    std::unique_ptr<Block> used(userBlock(UserA, QStringLiteral("used")));
    std::unique_ptr<Block> unused(userBlock(UserB, QStringLiteral("unused")));
    container.insert(used.get());
    container.insert(unused.get());
    QPointer<Block> usedCopy = container.library()->block(UserA);
    QPointer<Block> unusedCopy = container.library()->block(UserB);
    QObject instance;
    usedCopy->blockDefinition(0)->registerInstance(&instance);
    QSignalSpy modified(&container, &BlockLibraryContainer::modifiedChanged);
    QSignalSpy contents(container.library(), &BlockLibrary::contentsChanged);

    container.clear();

    QCOMPARE(container.library()->blockIdentifiers(), QList<QString>{UserA});
    QCOMPARE(modified.count(), 0);
    QCOMPARE(contents.count(), 0);
    QVERIFY(container.modified()); // from the insertions, untouched by cleaning
    // Still alive until the event loop runs: a caller may be inside it.
    QVERIFY(!unusedCopy.isNull());
    QVERIFY(!unusedCopy->ownerLibrary());
    QVERIFY(!unusedCopy->parent());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(unusedCopy.isNull());
    QVERIFY(!usedCopy.isNull());
    QVERIFY(!container.library()->signalsBlocked());

    // Once its last instance goes, the next cleaning takes it too, and a library whose
    // signals were blocked before stays blocked.
    usedCopy->blockDefinition(0)->unregisterInstance(&instance);
    container.library()->blockSignals(true);
    container.clear();
    QVERIFY(container.library()->signalsBlocked());
    container.library()->blockSignals(false);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(usedCopy.isNull());
    QVERIFY(container.library()->blockIdentifiers().isEmpty());
    QCOMPARE(modified.count(), 0);
}

void tst_Containers::localAnswers_data()
{
    QTest::addColumn<QString>("owner");
    QTest::addColumn<bool>("ownerInReadOnlyLibrary");
    QTest::addColumn<uint>("writeLevel");
    QTest::addColumn<bool>("readOnly");

    QTest::newRow("user-block-writable") << "user" << false << 0u << false;
    QTest::newRow("user-block-write-level-above") << "user" << false << 7u << true;
    QTest::newRow("user-block-in-read-only-library") << "user" << true << 0u << true;
    QTest::newRow("standard-block") << "StandardBlock_1" << false << 0u << true;
    QTest::newRow("root-block") << "RootBlock" << false << 0u << false;
}

void tst_Containers::localAnswers()
{
    QFETCH(QString, owner);
    QFETCH(bool, ownerInReadOnlyLibrary);
    QFETCH(uint, writeLevel);

    TestContainer home;
    home.setReadOnly(true);
    Block *block = owner == QLatin1String("user") ? Block::createUserBlock() : Block::createBlock(owner);
    std::unique_ptr<Block> alone;
    if (ownerInReadOnlyLibrary)
        home.library()->insertBlock(block);
    else
        alone.reset(block);
    BlockDefinition *definition = block->createDefinition();
    definition->setAccessLevelWrite(writeLevel);
    System::instance()->setCurrentAccessLevel(6);

    BlockLibrary *library = definition->localBlockLibrary();
    BlockLibraryContainer *local = library->container();
    local->setIdentifier(QStringLiteral("{other}"));
    local->setName(Text(1, QStringLiteral("named")));

    QCOMPARE(local->identifier(), QStringLiteral("local"));
    QVERIFY(local->name().isEmpty());
    QVERIFY(local->isLocalContainer());
    QCOMPARE(local->type(), 255u);
    QTEST(local->readOnly(), "readOnly");
    QTEST(library->readOnly(), "readOnly");

    // Whether editable or not, a local block inserted marks it modified.
    QSignalSpy modified(local, &BlockLibraryContainer::modifiedChanged);
    library->insertBlock(Block::createUserBlock());
    QCOMPARE(arguments(modified), QList<bool>{true});
}

void tst_Containers::localWithoutDefinitionIsReadOnly()
{
    LocalBlockContainer container(nullptr);
    QVERIFY(container.readOnly());
    QVERIFY(container.library()->readOnly());
    QCOMPARE(container.identifier(), QStringLiteral("local"));
}

QTEST_MAIN(tst_Containers)
#include "tst_containers.moc"
