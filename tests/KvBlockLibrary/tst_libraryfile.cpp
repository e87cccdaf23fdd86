#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockLibraryFile.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>
#include <KvSystem/System.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>
#include <LxUtilities/AppSettings.h>
#include <LxUtilities/DefaultPathSetting.h>

#include "DialogAnswerer.h"
#include "StorageTreeText.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <sqlite3.h>

#include <functional>
#include <memory>

namespace {

const QString SaveFailure = QStringLiteral("Die Bibliothek kann nicht gespeichert werden");

QByteArray fileContents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Opens a storage file, lets edit change its root, as another tool of the suite would, and
// returns the tree as text.
QStringList editFile(const QString &path, const std::function<void(FileStorageView *)> &edit = {})
{
    FileView view;
    view.open(path);
    std::unique_ptr<FileStorageView> root(view.isOpen() ? view.createRootView() : nullptr);
    if (root && edit)
        edit(root.get());
    const QStringList lines = StorageTreeText::lines(root.get());
    root.reset();
    view.close();
    return view.hasError() ? QStringList() : lines;
}

// Adds a block whose versions have levels, code, a description, an image and named pins in
// a skin order, differing with seed.
Block *addBlock(BlockLibrary *library, Block *block, int versions, int seed)
{
    block->setName(Text(1, QStringLiteral("Baustein %1 Größe").arg(seed)));
    block->setShortName(QStringLiteral("B%1ß").arg(seed));
    block->setGroupPath(QStringLiteral("Gruppe %1/Untergruppe").arg(seed % 3));
    for (int v = 0; v < versions; ++v) {
        BlockDefinition *version = block->createDefinition();
        const QByteArray n = QByteArray::number(seed * 10 + v);
        version->setAccessLevelRead(seed % 5);
        version->setAccessLevelWrite(v % 7);
        version->setCodeText(";type=\"code\" version=\"0\"\r\nPROGRAM P" + n + "\r\nEND\r\n");
        version->setDescriptionText("<p>Beschreibung " + n + " \xC3\xA4</p>");
        version->setSmallListImage(QStringLiteral("png"), "small-" + n);
        for (int number : {1, 2, 5}) {
            BlockPin *pin = version->createPin(number);
            pin->setFunction(number == 5 ? eBlockPinFunctionOutput : eBlockPinFunctionInput);
            pin->setName(Text(2, QStringLiteral("Eingang ä %1").arg(QString::fromLatin1(n))));
        }
        version->defaultSkin()->setInputPinOrder({2, 1});
    }
    library->insertBlock(block);
    return block;
}

// Sets the immutable attribute of a path and removes it again, whatever happened.
struct ImmutableFlag
{
    explicit ImmutableFlag(const QString &path) : path(path), set(chattr(QStringLiteral("+i"))) {}
    ~ImmutableFlag() { set && chattr(QStringLiteral("-i")); }
    bool chattr(const QString &flag) const { return QProcess::execute(QStringLiteral("chattr"), {flag, path}) == 0; }
    const QString path;
    const bool set;
};

// Holds the write lock of a storage file through a connection of its own, as another
// program writing to the file would.
struct WriteLock
{
    explicit WriteLock(const QString &path)
    {
        if (sqlite3_open_v2(QFile::encodeName(path).constData(), &db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK)
            locked = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_OK;
    }
    ~WriteLock()
    {
        if (locked)
            sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
        sqlite3_close(db);
    }
    sqlite3 *db = nullptr;
    bool locked = false;
};

// The replies to the close question.
enum Answer { Yes = QDialogButtonBox::Yes, No = QDialogButtonBox::No, Abort = QDialogButtonBox::Abort, None = -1 };

// Sets a text of a block when value is given, and returns it.
using TextAccess = std::function<QString(Block *, const QString *value)>;

} // namespace

Q_DECLARE_METATYPE(TextAccess)

class tst_LibraryFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void roundTripOfEveryKindOfBlock();
    void lineBreaksInTexts_data();
    void lineBreaksInTexts();
    void closeQuestion_data();
    void closeQuestion();
    void saveWithoutPath_data();
    void saveWithoutPath();
    void fixedLibraryFileIsLeftAsItIs();
    void saveFails_data();
    void saveFails();

private:
    QString path(const QString &name) const { return m_dir->filePath(name); }
    // A saved library file at path with one standard block; the library is returned unmodified.
    std::unique_ptr<BlockLibraryFile> savedLibrary(const QString &file)
    {
        auto library = std::make_unique<BlockLibraryFile>();
        addBlock(library->library(), Block::createBlock(QStringLiteral("StandardBlock_1")), 1, 1);
        return library->save(file) ? std::move(library) : nullptr;
    }

    QTemporaryDir m_settingsDir;
    QWidget m_mainWindow; // the parent of every dialog; never shown
    std::unique_ptr<QTemporaryDir> m_dir;
};

void tst_LibraryFile::initTestCase()
{
    AppSettings::instance()->setSettingsFile(m_settingsDir.filePath(QStringLiteral("settings.ini")));
    System::instance()->setMainWindow(&m_mainWindow);
}

void tst_LibraryFile::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    AppSettings::instance()->setSetting(AppSettings::SaveModifiedLibraries, AppSettings::AskBeforeSaving);
    std::unique_ptr<DefaultPathSetting>(DefaultPathSetting::create(eSettingDefaultPathBlockLibraries))->setPath(m_dir->path());
}

void tst_LibraryFile::cleanup()
{
    for (QWidget *widget : QApplication::topLevelWidgets())
        QVERIFY2(!widget->isVisible(), qPrintable(widget->metaObject()->className() + QStringLiteral(" left open")));
}

void tst_LibraryFile::roundTripOfEveryKindOfBlock()
{
    BlockLibraryFile original;
    original.setName(Text(1, QStringLiteral("Testbibliothek")));
    original.setIdentifier(QStringLiteral("{0b5e4c1a-7d0e-4a6c-9f57-0c8a3c2e1d10}"));
    BlockLibrary *library = original.library();
    int seed = 0;
    for (const char *identifier : {"SystemBlock_12", "ToolBlock_4", "MagicBlock_9", "StandardBlock_7", "TemplateBlock_3", "RootBlock"})
        addBlock(library, Block::createBlock(QString::fromLatin1(identifier)), 2, ++seed);
    Block *user = addBlock(library, Block::createUserBlock(), 2, 7);
    // Local blocks two levels deep, below a standard and a user block.
    Block *outer = addBlock(library->block(QStringLiteral("StandardBlock_7"))->blockDefinition(1)->localBlockLibrary(),
                            Block::createUserBlock(), 2, 9);
    addBlock(outer->blockDefinition(0)->localBlockLibrary(), Block::createUserBlock(), 2, 10);
    addBlock(user->blockDefinition(1)->localBlockLibrary(), Block::createUserBlock(), 1, 11);

    const QString first = path(QStringLiteral("lib.bli"));
    QSignalSpy saved(&original, &BlockLibraryContainer::modifiedChanged);
    QVERIFY(original.save(first));
    QCOMPARE(original.errorString(), QString());
    QCOMPARE(original.filePath(), first);
    QCOMPARE(saved.count(), 1);
    QCOMPARE(saved.at(0).at(0).toBool(), false);
    const QStringList savedTree = editFile(first);
    QVERIFY(savedTree.size() > 100);

    BlockLibraryFile loaded;
    QSignalSpy loadedSpy(&loaded, &BlockLibraryContainer::modifiedChanged);
    QVERIFY(loaded.load(first));
    QCOMPARE(loaded.filePath(), first);
    QVERIFY(!loaded.modified() && !loadedSpy.isEmpty() && !loadedSpy.last().at(0).toBool());
    // A stored name wins over the file's.
    QCOMPARE(loaded.name(), Text(1, QStringLiteral("Testbibliothek")));
    // Saved again, every stream comes back byte for byte.
    const QString second = path(QStringLiteral("again.bli"));
    QVERIFY(loaded.save(second));
    QCOMPARE(editFile(second), savedTree);

    // Saved over itself after removals, the file holds exactly what a save into a new file holds.
    delete loaded.library()->removeBlock(QStringLiteral("SystemBlock_12"));
    loaded.library()->block(QStringLiteral("ToolBlock_4"))->deleteDefinition(1);
    BlockLibrary *local = loaded.library()->block(user->identifier())->blockDefinition(1)->localBlockLibrary();
    delete local->removeBlock(local->blockIdentifiers().first());
    QVERIFY(loaded.save(second));
    QVERIFY(loaded.save(path(QStringLiteral("fresh.bli"))));
    QCOMPARE(editFile(second), editFile(path(QStringLiteral("fresh.bli"))));
    QVERIFY(!editFile(second).contains(QStringLiteral("storage Blocks/ToolBlock_4/V1")));

    // A file that cannot be opened changes nothing; one that opens replaces the contents.
    const QString missing = path(QStringLiteral("missing.bli"));
    QVERIFY(!loaded.load(missing));
    QCOMPARE(loaded.errorString(), QStringLiteral("Die Datei „%1“ existiert nicht.").arg(QDir::toNativeSeparators(missing)));
    QVERIFY(loaded.filePath() == path(QStringLiteral("fresh.bli")) && loaded.library()->containsBlock(QStringLiteral("RootBlock")));
    const QString empty = path(QStringLiteral("empty.bli"));
    FileView view;
    view.create(empty);
    std::unique_ptr<FileStorageView>(view.createRootView())
            ->writeStream(QStringLiteral("Info.ini"), ";type=\"blocklibrary\" version=\"0\"\r\n\r\n[Info]\r\n");
    view.close();
    QVERIFY(!loaded.load(empty));
    QCOMPARE(loaded.errorString(), QStringLiteral("\"%1\" enthält keine Bausteinbibliothek.").arg(QDir::toNativeSeparators(empty)));
    QVERIFY(loaded.filePath() == empty && loaded.library()->blockIdentifiers().isEmpty());
}

void tst_LibraryFile::lineBreaksInTexts_data()
{
    QTest::addColumn<TextAccess>("text");
    QTest::addColumn<QString>("value");
    QTest::addColumn<QString>("expected");

    auto row = [](const char *tag, const char *value, const char *expected, TextAccess access) {
        QTest::newRow(tag) << access << QString::fromLatin1(value) << QString::fromLatin1(expected);
    };
    // A break in a value would start keys of its own: each break is written as one space.
    row("block-name", "a\r\n[Info]\r\nShortName=EVIL", "a [Info] ShortName=EVIL",
        [](Block *b, const QString *v) { if (v) b->setName(Text(2, *v)); return b->name().text(2); });
    row("block-short-name", "X\nY", "X Y", [](Block *b, const QString *v) { if (v) b->setShortName(*v); return b->shortName(); });
    row("pin-short-name", "p\rq\nr\r\n", "p q r ",
        [](Block *b, const QString *v) { if (v) b->blockDefinition(0)->pin(1)->setShortName(*v); return b->blockDefinition(0)->pin(1)->shortName(); });
    row("pin-name", "\n\r\r\nP", "   P",
        [](Block *b, const QString *v) { if (v) b->blockDefinition(0)->pin(2)->setName(Text(3, *v)); return b->blockDefinition(0)->pin(2)->name().text(3); });
    // Parameter texts are escaped by their own writer and come back exactly.
    row("parameter-name", "kurz\r\n[General]\rlang\n", "kurz\r\n[General]\rlang\n", [](Block *b, const QString *v) {
        ParameterDefinition *parameter = b->blockDefinition(0)->parameterDefinition(BlockDefinition::GeneralFamily, 1);
        if (v)
            parameter->setName(ParameterText(Text(1, QStringLiteral("P")), Text(1, *v)));
        return parameter->name().longText(1);
    });
}

void tst_LibraryFile::lineBreaksInTexts()
{
    QFETCH(TextAccess, text);
    QFETCH(QString, value);

    BlockLibraryFile original;
    Block *block = addBlock(original.library(), Block::createUserBlock(), 1, 1);
    block->blockDefinition(0)->attachParameterGeneralDefinition(1, new SimpleParameterDefinition);
    text(block, &value);
    const QByteArray compareValue = block->blockDefinition(0)->compareCrc32Value();
    QVERIFY(original.save(path(QStringLiteral("breaks.bli"))));

    BlockLibraryFile loaded;
    QVERIFY(loaded.load(path(QStringLiteral("breaks.bli"))));
    Block *reloaded = loaded.library()->block(block->identifier());
    QVERIFY(reloaded && reloaded->blockDefinition(0));
    QCOMPARE(reloaded->shortName() == QLatin1String("EVIL"), false);
    QTEST(text(reloaded, nullptr), "expected");
    QCOMPARE(reloaded->blockDefinition(0)->compareCrc32Value(), compareValue);
}

void tst_LibraryFile::closeQuestion_data()
{
    QTest::addColumn<bool>("requested"); // through saveRequested() instead of prepareClose()
    QTest::addColumn<uint>("setting");   // what to do with modified libraries on request
    QTest::addColumn<bool>("modified");
    QTest::addColumn<int>("reply"); // None: nothing is asked
    QTest::addColumn<bool>("result");
    QTest::addColumn<bool>("saves");

    QTest::newRow("close-yes-saves") << false << 1u << true << int(Yes) << true << true;
    QTest::newRow("close-no-closes-without-saving") << false << 1u << true << int(No) << true << false;
    QTest::newRow("close-abort-keeps-open") << false << 1u << true << int(Abort) << false << false;
    QTest::newRow("close-unmodified-without-asking") << false << 1u << false << int(None) << true << false;
    QTest::newRow("request-silently") << true << 0u << true << int(None) << true << true;
    QTest::newRow("request-ask-yes") << true << 1u << true << int(Yes) << true << true;
    QTest::newRow("request-other-setting") << true << 2u << true << int(None) << true << false;
    QTest::newRow("request-unmodified-silently") << true << 0u << false << int(None) << true << false;
}

void tst_LibraryFile::closeQuestion()
{
    QFETCH(bool, requested);
    QFETCH(uint, setting);
    QFETCH(bool, modified);
    QFETCH(int, reply);
    QFETCH(bool, saves);

    AppSettings::instance()->setSetting(AppSettings::SaveModifiedLibraries, setting);
    const QString file = path(QStringLiteral("Antrieb.bli"));
    std::unique_ptr<BlockLibraryFile> library = savedLibrary(file);
    const QByteArray before = fileContents(file);
    if (modified)
        addBlock(library->library(), Block::createBlock(QStringLiteral("StandardBlock_2")), 1, 2);
    QSignalSpy modifiedSpy(library.get(), &BlockLibraryContainer::modifiedChanged);

    // An answerer for a question that must not come presses Abort, which saves nothing.
    auto answerer = DialogAnswerer::press(QDialogButtonBox::StandardButton(reply == None ? int(Abort) : reply));
    if (requested)
        library->saveRequested();
    else
        QTEST(library->prepareClose(), "result");
    QCOMPARE(answerer->answered(), reply != None);
    if (reply != None) {
        QCOMPARE(answerer->buttons(), QMessageBox::Yes | QMessageBox::No | QMessageBox::Abort);
        QCOMPARE(answerer->defaultButton(), QMessageBox::Abort);
        QCOMPARE(answerer->icon(), QMessageBox::Question);
        QCOMPARE(answerer->parentWidget(), &m_mainWindow);
        QCOMPARE(answerer->title(), QStringLiteral("Bibliothek wurde geändert"));
        QCOMPARE(answerer->text(), QStringLiteral("Sollen die Änderungen in der Bibliothek \"Antrieb.bli\" gespeichert werden?"));
    }
    QCOMPARE(library->modified(), modified && !saves);
    QCOMPARE(modifiedSpy.count(), saves ? 1 : 0);
    BlockLibraryFile onDisk;
    QVERIFY(onDisk.load(file));
    QCOMPARE(onDisk.library()->containsBlock(QStringLiteral("StandardBlock_2")), saves);
    QVERIFY(saves || fileContents(file) == before);
}

void tst_LibraryFile::saveWithoutPath_data()
{
    QTest::addColumn<bool>("closing"); // through the close question's "Yes" instead of save()
    QTest::addColumn<bool>("choose");  // a file is chosen instead of cancelling the dialog

    QTest::newRow("save-dialog-cancelled") << false << false;
    QTest::newRow("close-question-yes-dialog-cancelled") << true << false;
    QTest::newRow("save-dialog-file-chosen") << false << true;
}

void tst_LibraryFile::saveWithoutPath()
{
    QFETCH(bool, closing);
    QFETCH(bool, choose);

    BlockLibraryFile library;
    addBlock(library.library(), Block::createBlock(QStringLiteral("StandardBlock_1")), 1, 1);
    const QString file = path(QStringLiteral("chosen.bli"));
    auto yes = closing ? DialogAnswerer::press(QDialogButtonBox::Yes) : nullptr;
    // A name without a directory lands in the dialog's start directory.
    auto fileDialog = choose ? DialogAnswerer::chooseFile(QStringLiteral("chosen.bli")) : DialogAnswerer::cancelFileDialog();
    auto acknowledge = DialogAnswerer::press(QDialogButtonBox::Ok);
    QSignalSpy modified(&library, &BlockLibraryContainer::modifiedChanged);

    QCOMPARE(closing ? library.prepareClose() : library.save(QString()), choose);
    QVERIFY(fileDialog->answered());
    QCOMPARE(fileDialog->title(), QStringLiteral("Bibliothek Speichern"));
    if (closing)
        QCOMPARE(yes->text(), QStringLiteral("Sollen die Änderungen in der Bibliothek \"new\" gespeichert werden?"));
    // Cancelling ends in the save failure; the library stays open, modified and without a path.
    QCOMPARE(acknowledge->answered(), !choose);
    QCOMPARE(library.filePath(), choose ? file : QString());
    QCOMPARE(library.modified(), !choose);
    QCOMPARE(modified.count(), choose ? 1 : 0);
    if (!choose) {
        QCOMPARE(acknowledge->title(), QStringLiteral("Speichern"));
        QCOMPARE(acknowledge->text(), SaveFailure);
        QCOMPARE(acknowledge->buttons(), QMessageBox::StandardButtons(QMessageBox::Ok));
        QCOMPARE(acknowledge->icon(), QMessageBox::Critical);
        QCOMPARE(acknowledge->parentWidget(), &m_mainWindow);
    }
    // Without a stored name, the library is named after its file while that exists.
    QCOMPARE(library.name(), Text(1, choose ? QStringLiteral("chosen.bli") : QStringLiteral("new")));
    QVERIFY(!choose || QFile::remove(file));
    QCOMPARE(library.name(), Text(1, QStringLiteral("new")));
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden), QStringList());
}

void tst_LibraryFile::fixedLibraryFileIsLeftAsItIs()
{
    // A library file whose stored type makes it fixed: saving it succeeds, writes nothing
    // and must not empty the file.
    const QString file = path(QStringLiteral("fixed.bli"));
    QVERIFY(savedLibrary(file));
    QVERIFY(!editFile(file, [](FileStorageView *root) {
        QByteArray info = root->readStream(QStringLiteral("Info.ini"));
        QVERIFY(info.contains("Type=256\r\n"));
        root->writeStream(QStringLiteral("Info.ini"), info.replace("Type=256", "Type=3"));
    }).isEmpty());
    const QByteArray before = fileContents(file);

    BlockLibraryFile library;
    QVERIFY(library.load(file));
    QCOMPARE(library.type(), 3u);
    QSignalSpy modified(&library, &BlockLibraryContainer::modifiedChanged);
    QVERIFY(library.save(file));
    QCOMPARE(modified.count(), 0);
    QVERIFY(fileContents(file) == before);
}

void tst_LibraryFile::saveFails_data()
{
    QTest::addColumn<QString>("where");
    QTest::addColumn<bool>("committed"); // the library's own save ran and the commit failed
    QTest::addColumn<QString>("error");  // %1: the path, *: the system's own words for the cause

    const QString notWritten = QStringLiteral("Die Datei „%1“ kann nicht geschrieben werden (*). Die Änderungen wurden nicht gespeichert.");
    // A read-only file is refused before anything is written.
    QTest::newRow("immutable-file") << "immutable-file" << false << QStringLiteral("\"%1\" ist schreibgeschützt.");
    QTest::newRow("locked-by-another-program")
            << "locked" << true << QStringLiteral("Die Datei „%1“ ist von einem anderen Programm gesperrt. Die Änderungen wurden nicht gespeichert.");
    QTest::newRow("below-a-file") << "below-a-file" << false << QStringLiteral("Das Verzeichnis für „%1“ existiert nicht.");
    QTest::newRow("proc-file-system") << "proc" << true << notWritten;
}

void tst_LibraryFile::saveFails()
{
    QFETCH(QString, where);
    QFETCH(bool, committed);
    QFETCH(QString, error);

    const QString existing = path(QStringLiteral("lib.bli"));
    std::unique_ptr<BlockLibraryFile> library = savedLibrary(existing);
    const QByteArray before = fileContents(existing);
    addBlock(library->library(), Block::createBlock(QStringLiteral("StandardBlock_2")), 1, 2);

    QString target = existing;
    std::unique_ptr<ImmutableFlag> immutable;
    std::unique_ptr<WriteLock> lock;
    if (where == QLatin1String("immutable-file")) {
        immutable = std::make_unique<ImmutableFlag>(existing);
        if (!immutable->set)
            QSKIP("the immutable attribute cannot be set here");
    } else if (where == QLatin1String("locked")) {
        lock = std::make_unique<WriteLock>(existing);
        QVERIFY(lock->locked);
    } else {
        target = where == QLatin1String("proc") ? QStringLiteral("/proc/kvblocklibrary-test.bli") : existing + QStringLiteral("/lib.bli");
    }

    QSignalSpy modified(library.get(), &BlockLibraryContainer::modifiedChanged);
    auto acknowledge = DialogAnswerer::press(QDialogButtonBox::Ok);
    QVERIFY(!library->save(target));
    QCOMPARE(acknowledge->text(), SaveFailure);
    const QStringList parts = error.arg(QDir::toNativeSeparators(target)).split(QLatin1Char('*'));
    QVERIFY2(library->errorString().startsWith(parts.first()) && library->errorString().endsWith(parts.last())
                     && (parts.size() == 2 || library->errorString() == parts.first()),
             qPrintable(library->errorString()));

    // Nothing is lost: the library still counts as changed, keeps its path, and the file is as it was.
    QVERIFY(library->modified());
    QCOMPARE(library->filePath(), existing);
    QCOMPARE(modified.count(), committed ? 2 : 0);
    lock.reset();
    immutable.reset();
    QVERIFY(fileContents(existing) == before);
    QVERIFY(target == existing || !QFileInfo::exists(target));
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("lib.bli")});
}

QTEST_MAIN(tst_LibraryFile)
#include "tst_libraryfile.moc"
