#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockLibraryContainer.h>
#include <KvBlockLibrary/FallbackBlockContainer.h>
#include <KvSystem/System.h>

#include "ScratchStorage.h"
#include "StorageTreeText.h"
#include "StoredForm.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <functional>
#include <memory>

namespace {

const QString UserA = QStringLiteral("{0aaaaaaa-0000-0000-0000-000000000000}");
const QString UserB = QStringLiteral("{0bbbbbbb-0000-0000-0000-000000000000}");
const QByteArray LibraryType(";type=\"blocklibrary\" version=\"0\"\r\n\r\n");

// The base class with its protected storage operations opened, at its own default type.
class TestContainer : public BlockLibraryContainer
{
public:
    using BlockLibraryContainer::load;
    using BlockLibraryContainer::save;
    bool isLocalContainer() const override { return false; }
};

using Streams = QList<QPair<QString, QByteArray>>;
using Step = std::function<bool(TestContainer &)>;

// Loads a storage of the given streams, plus an empty "Blocks" unless told otherwise.
template<typename Container>
bool loadFrom(Container &container, const Streams &streams, bool withBlocks = true)
{
    ScratchStorage storage;
    StorageTreeText::write(storage.root(), withBlocks ? streams + Streams{{QStringLiteral("Blocks/Content.txt"), {}}} : streams);
    return container.load(storage.root());
}

// What save() wrote into a fresh storage, and its description stream.
template<typename Container>
QStringList savedTree(Container &container, QByteArray *info = nullptr)
{
    ScratchStorage storage;
    container.save(storage.root());
    if (info)
        *info = storage.root()->readStream(QStringLiteral("Info.ini"));
    return StorageTreeText::lines(storage.root());
}

Streams info(const QByteArray &body) { return {{QStringLiteral("Info.ini"), LibraryType + body}}; }

Streams segment(const char *number, const QByteArray &body)
{
    return {{QStringLiteral("Groupsegments/%1/Info.ini").arg(QLatin1String(number)), ";type=\"groupsegment\" version=\"0\"\r\n\r\n" + body}};
}

QList<bool> arguments(const QSignalSpy &spy)
{
    QList<bool> values;
    for (const QList<QVariant> &call : spy)
        values << call.at(0).toBool();
    return values;
}

// A block with one version, ready to be copied.
Block *userBlock(const QString &identifier, const QString &shortName)
{
    Block *block = Block::createBlock(identifier);
    block->setShortName(shortName);
    block->createDefinition()->setDescriptionText(shortName.toUtf8());
    return block;
}

} // namespace

Q_DECLARE_METATYPE(Step)

class tst_Containers : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { System::instance()->setCurrentAccessLevel(7); }

    void modifiedTransitions_data()
    {
        QTest::addColumn<Step>("setup");
        QTest::addColumn<Step>("step");
        QTest::addColumn<bool>("result");
        QTest::addColumn<QList<bool>>("emitted");
        QTest::addColumn<bool>("modified");
        using B = QList<bool>;
        const Step nothing = [](TestContainer &) { return true; };
        const Step insert = [](TestContainer &c) { return c.library()->insertBlock(Block::createBlock("SystemBlock_1")), true; };
        const Step makeFixed = [](TestContainer &c) { return loadFrom(c, info("[Info]\r\nType=3\r\n")); };
        const Step save = [](TestContainer &c) { return savedTree(c), true; };
        const Step clear = [](TestContainer &c) { return c.clear(), true; };
        const Step plainProperties = [](TestContainer &c) {
            c.setName(Text(1, QStringLiteral("Antriebe"))), c.setIdentifier(QStringLiteral("{lib}")), c.setReadOnly(true), c.saveRequested();
            return c.name() == Text(1, QStringLiteral("Antriebe")) && c.identifier() == QStringLiteral("{lib}") && c.readOnly();
        };
        const Step newVersion = [](TestContainer &c) { return c.library()->block("SystemBlock_1")->createDefinition(); };
        const Step groupPath = [](TestContainer &c) { return c.library()->block("SystemBlock_1")->setGroupPath("G"), true; };
        const Step setModifiedTwice = [](TestContainer &c) { return c.setModified(), c.setModified(), true; };
        const QByteArray block(";type=\"block\" version=\"0\"\r\n");
        const Streams twoBlocks = info("[Info]\r\n") + Streams{{QStringLiteral("Blocks/SystemBlock_1/Info.ini"), block},
                                                                {QStringLiteral("Blocks/SystemBlock_2/Info.ini"), block}};
        const auto load = [](const Streams &s, bool blocks = true) { return Step([=](TestContainer &c) { return loadFrom(c, s, blocks); }); };
        // Types below 255 are fixed; only the file makes a container fixed, setType() cannot.
        const auto setType = [](uint type, uint expected) { return Step([=](TestContainer &c) { return c.setType(type), c.type() == expected; }); };
        QTest::newRow("plain-properties-silent") << nothing << plainProperties << true << B() << false;
        QTest::newRow("set-type-0-ignored") << nothing << setType(0, 255) << true << B() << false;
        QTest::newRow("fixed-set-type-255-ignored") << makeFixed << setType(255, 3) << true << B() << false;
        QTest::newRow("fixed-set-type-256") << makeFixed << setType(256, 256) << true << B() << false;
        QTest::newRow("insert-block") << nothing << insert << true << B{true} << true;
        QTest::newRow("block-changed-inside") << insert << newVersion << true << B{true} << true;
        QTest::newRow("group-path-set") << insert << groupPath << true << B() << true;
        QTest::newRow("set-modified-twice") << nothing << setModifiedTwice << true << B{true, true} << true;
        QTest::newRow("clear-with-blocks") << insert << clear << true << B{true} << true;
        QTest::newRow("save-editable") << insert << save << true << B{false} << false;
        QTest::newRow("save-fixed") << makeFixed << save << true << B() << false;
        QTest::newRow("fixed-insert") << makeFixed << insert << true << B() << false;
        QTest::newRow("load-empty-library") << nothing << load(info("[Info]\r\n")) << true << B{false} << false;
        QTest::newRow("load-two-blocks") << nothing << load(twoBlocks, false) << true << B{true, true, false} << false;
        QTest::newRow("load-wrong-kind") << nothing << load({{QStringLiteral("Info.ini"), block}}) << false << B() << true;
        QTest::newRow("load-without-blocks") << nothing << load(info("[Info]\r\n"), false) << false << B{false} << false;
    }
    void modifiedTransitions()
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

    void load_data()
    {
        QTest::addColumn<Streams>("streams");
        QTest::addColumn<bool>("result");
        QTest::addColumn<QByteArray>("written"); // empty: nothing, the container is fixed
        QTest::addColumn<QList<uint>>("groups"); // segments read besides 5, each named "1=<number>"
        const QByteArray defaults = LibraryType + "[Info]\r\nIdentifier={before}\r\nReadOnly=0\r\nType=255\r\n\r\n[Names]\r\n";
        const QByteArray full = "[Info]\r\nIdentifier={lib}\r\nReadOnly=1\r\nType=300\r\n\r\n[Names]\r\n1=Antriebe\r\n2=Drives\r\n";
        const Streams plain = info("[Info]\r\n");
        using G = QList<uint>;
        QTest::newRow("full") << info(full) << true << LibraryType + full << G();
        QTest::newRow("read-only-2-defaults") << info("[Info]\r\nReadOnly=2\r\n") << true << defaults << G();
        QTest::newRow("type-not-a-number-fixed") << info("[Info]\r\nType=x\r\n") << true << QByteArray() << G();
        // Names are written in ascending language order; the file is written in Latin-1 but read
        // as UTF-8, so an umlaut does not come back, and what Latin-1 lacks becomes '?'.
        QTest::newRow("names-utf8-to-latin1") << info("[Names]\r\n7=Gr\xc3\xbcn 5 \xe2\x82\xac\r\nx=B\r\n02=A\r\n") << true
                                              << defaults + "2=A\r\n7=Gr\xfcn 5 ?\r\n" << G();
        QTest::newRow("wrong-kind") << Streams{{QStringLiteral("Info.ini"), ";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nIdentifier=x\r\n"}}
                                    << false << defaults << G();
        QTest::newRow("segments-leading-zero") << plain + segment("1", "[Names]\r\n1=1\r\n") + segment("012", "[Names]\r\n1=12\r\nx=y\r\n")
                                               << true << defaults << G{1, 12};
        QTest::newRow("segments-not-numbers") << plain + segment("x1", "[Names]\r\n1=1\r\n") + segment("1x", "[Names]\r\n1=1\r\n")
                                                     + segment("-1", "[Names]\r\n1=1\r\n") + segment(" 1", "[Names]\r\n1=1\r\n")
                                              << true << defaults << G();
        QTest::newRow("segment-library-kind") << plain + Streams{{QStringLiteral("Groupsegments/1/Info.ini"), LibraryType + "[Names]\r\n1=1\r\n"}}
                                              << true << defaults << G();
        QTest::newRow("segment-without-names") << plain + segment("1", "[Info]\r\n1=1\r\n") << true << defaults << G();
        QTest::newRow("segments-lower-case") << plain + Streams{{QStringLiteral("groupsegments/1/Info.ini"), segment("1", "[Names]\r\n1=1\r\n")[0].second}}
                                             << true << defaults << G();
    }
    void load()
    {
        QFETCH(Streams, streams);
        QFETCH(QByteArray, written);
        QFETCH(QList<uint>, groups);
        TestContainer container;
        QSignalSpy groupsChanged(&container, &BlockLibraryContainer::groupsChanged);
        // Group names are read as UTF-8, and those of an earlier load stay, also through clear().
        QVERIFY(loadFrom(container, info("[Info]\r\n") + segment("5", "[Names]\r\n2=Gr\xc3\xbcn\r\n")));
        container.setIdentifier(QStringLiteral("{before}"));
        container.setName(Text(1, QStringLiteral("before")));
        container.setReadOnly(true);
        container.setType(400);
        QTEST(loadFrom(container, streams), "result");
        QByteArray saved;
        const QStringList tree = savedTree(container, &saved);
        QCOMPARE(saved, written);
        // Group segments are read, never written; "Blocks" always is, where anything is.
        QCOMPARE(tree.filter(QStringLiteral("storage ")), written.isEmpty() ? QStringList() : QStringList{QStringLiteral("storage Blocks")});
        QHash<unsigned int, Text> expected{{5, Text(2, QStringLiteral("Grün"))}};
        for (uint number : groups)
            expected.insert(number, Text(1, QString::number(number)));
        container.clear();
        QCOMPARE(container.groupNames(), expected);
        QCOMPARE(groupsChanged.count(), 0);
    }

    void fallback()
    {
        FallbackBlockContainer container;
        QVERIFY(!container.isLocalContainer());
        QSignalSpy modified(&container, &BlockLibraryContainer::modifiedChanged);
        QVERIFY(loadFrom(container, info("[Info]\r\nIdentifier={other}\r\nReadOnly=0\r\nType=255\r\n\r\n[Names]\r\n1=Ersatz\r\n")));
        container.setIdentifier(QStringLiteral("{set}")), container.setReadOnly(false);
        QCOMPARE(container.identifier(), QStringLiteral("fallback"));
        QVERIFY(container.readOnly() && container.library()->readOnly());
        // The stored description says what the container answers, not what was set or loaded.
        QByteArray written;
        savedTree(container, &written);
        QCOMPARE(written, LibraryType + "[Info]\r\nIdentifier=fallback\r\nReadOnly=1\r\nType=255\r\n\r\n[Names]\r\n1=Ersatz\r\n");
        // Only user blocks are taken, no local ones, each identifier once: a second insertion changes nothing.
        TestContainer home;
        Block *original = userBlock(UserA, QStringLiteral("a"));
        home.library()->insertBlock(original);
        const QStringList stored = StoredForm::of(original);
        std::unique_ptr<Block> system(userBlock(QStringLiteral("SystemBlock_1"), QStringLiteral("s")));
        std::unique_ptr<Block> standard(userBlock(QStringLiteral("StandardBlock_250000"), QStringLiteral("p")));
        std::unique_ptr<Block> owner(Block::createUserBlock());
        Block *local = userBlock(UserB, QStringLiteral("l"));
        owner->createDefinition()->localBlockLibrary()->insertBlock(local);
        for (Block *ignored : {static_cast<Block *>(nullptr), system.get(), standard.get(), local, original})
            container.insert(ignored);
        QPointer<Block> copy = container.library()->block(UserA);
        QVERIFY(copy && copy != original && copy->isFallbackBlock() && !original->isFallbackBlock());
        QCOMPARE(home.library()->block(UserA), original);
        original->setShortName(QStringLiteral("second"));
        container.insert(original);
        QCOMPARE(container.library()->blockIdentifiers(), QList<QString>{UserA});
        QCOMPARE(container.library()->block(UserA), copy);
        QCOMPARE(StoredForm::of(copy), stored);
        QCOMPARE(arguments(modified), (QList<bool>{false, false, true}));
        // Cleaning takes the copies no instance uses, silently, deleted once the event loop runs.
        std::unique_ptr<Block> unused(userBlock(UserB, QStringLiteral("unused")));
        container.insert(unused.get());
        QPointer<Block> unusedCopy = container.library()->block(UserB);
        QObject instance;
        copy->blockDefinition(0)->registerInstance(&instance);
        modified.clear();
        QSignalSpy contents(container.library(), &BlockLibrary::contentsChanged);
        container.clear();
        QCOMPARE(container.library()->blockIdentifiers(), QList<QString>{UserA});
        QVERIFY(modified.isEmpty() && contents.isEmpty() && container.modified());
        QVERIFY(unusedCopy && !unusedCopy->ownerLibrary() && !unusedCopy->parent());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(unusedCopy.isNull() && !copy.isNull() && !container.library()->signalsBlocked());
        // Without instances it goes too; a library whose signals were blocked stays blocked.
        copy->blockDefinition(0)->unregisterInstance(&instance);
        container.library()->blockSignals(true);
        container.clear();
        QVERIFY(container.library()->signalsBlocked() && container.library()->blockIdentifiers().isEmpty());
    }

    void localAnswers_data()
    {
        QTest::addColumn<QString>("owner");
        QTest::addColumn<bool>("ownerLibraryReadOnly");
        QTest::addColumn<uint>("writeLevel");
        QTest::addColumn<bool>("readOnly");
        QTest::newRow("user-block-writable") << UserA << false << 0u << false;
        QTest::newRow("user-block-write-level-above") << UserA << false << 7u << true;
        QTest::newRow("user-block-in-read-only-library") << UserA << true << 0u << true;
        QTest::newRow("standard-block") << "StandardBlock_1" << false << 0u << true;
        QTest::newRow("root-block") << "RootBlock" << false << 0u << false;
    }
    void localAnswers()
    {
        QFETCH(QString, owner);
        QFETCH(bool, ownerLibraryReadOnly);
        QFETCH(uint, writeLevel);
        TestContainer home;
        home.setReadOnly(ownerLibraryReadOnly);
        Block *block = Block::createBlock(owner);
        home.library()->insertBlock(block);
        BlockDefinition *definition = block->createDefinition();
        definition->setAccessLevelWrite(writeLevel);
        System::instance()->setCurrentAccessLevel(6);
        BlockLibrary *library = definition->localBlockLibrary();
        BlockLibraryContainer *local = library->container();
        local->setIdentifier(QStringLiteral("{other}")), local->setName(Text(1, QStringLiteral("named")));
        QCOMPARE(local->identifier(), QStringLiteral("local"));
        QVERIFY(local->name().isEmpty() && local->isLocalContainer() && local->type() == 255);
        QTEST(local->readOnly(), "readOnly");
        QTEST(library->readOnly(), "readOnly");
        // Whether editable or not, a local block inserted marks it modified.
        QSignalSpy modified(local, &BlockLibraryContainer::modifiedChanged);
        library->insertBlock(Block::createUserBlock());
        QCOMPARE(arguments(modified), QList<bool>{true});
    }
};

QTEST_MAIN(tst_Containers)
#include "tst_containers.moc"
