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
    void askingToSave_data();
    void askingToSave();
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
    // A library file whose stored type makes it fixed: saving it succeeds and writes nothing.
    QVERIFY(!editFile(second, [](FileStorageView *root) {
        QByteArray info = root->readStream(QStringLiteral("Info.ini"));
        QVERIFY(info.contains("Type=256\r\n"));
        root->writeStream(QStringLiteral("Info.ini"), info.replace("Type=256", "Type=3"));
    }).isEmpty());
    const QByteArray fixed = fileContents(second);
    BlockLibraryFile fixedLibrary;
    QVERIFY(fixedLibrary.load(second) && fixedLibrary.type() == 3u);
    QSignalSpy fixedModified(&fixedLibrary, &BlockLibraryContainer::modifiedChanged);
    QVERIFY(fixedLibrary.save(second) && fixedModified.isEmpty());
    QVERIFY(fileContents(second) == fixed);
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

void tst_LibraryFile::askingToSave_data()
{
    QTest::addColumn<QString>("how");   // prepareClose(), saveRequested() or save() without a path
    QTest::addColumn<uint>("setting");  // what to do with modified libraries on request
    QTest::addColumn<bool>("hasFile");  // the library was loaded from a file
    QTest::addColumn<bool>("modified");
    QTest::addColumn<int>("reply");     // to the close question; None: nothing is asked
    QTest::addColumn<int>("fileDialog"); // -1: none comes, 0: it is cancelled, 1: a file is chosen
    QTest::addColumn<bool>("result");
    QTest::addColumn<bool>("saves");
    auto row = [](const char *tag, const char *how, uint setting, bool hasFile, bool modified, int reply, int fileDialog,
                  bool result, bool saves) {
        QTest::newRow(tag) << QString::fromLatin1(how) << setting << hasFile << modified << reply << fileDialog << result << saves;
    };
    row("close-yes-saves", "close", 1, true, true, Yes, -1, true, true);
    row("close-no-closes-without-saving", "close", 1, true, true, No, -1, true, false);
    row("close-abort-keeps-open", "close", 1, true, true, Abort, -1, false, false);
    row("close-unmodified-without-asking", "close", 1, true, false, None, -1, true, false);
    row("request-silently", "request", 0, true, true, None, -1, true, true);
    row("request-ask-yes", "request", 1, true, true, Yes, -1, true, true);
    row("request-other-setting", "request", 2, true, true, None, -1, true, false);
    row("request-unmodified-silently", "request", 0, true, false, None, -1, true, false);
    // Cancelling the file dialog ends in the save failure; the library stays open and modified.
    row("save-without-file-dialog-cancelled", "save", 1, false, true, None, 0, false, false);
    row("close-yes-without-file-dialog-cancelled", "close", 1, false, true, Yes, 0, false, false);
    row("save-without-file-file-chosen", "save", 1, false, true, None, 1, true, true);
}

void tst_LibraryFile::askingToSave()
{
    QFETCH(QString, how);
    QFETCH(uint, setting);
    QFETCH(bool, hasFile);
    QFETCH(bool, modified);
    QFETCH(int, reply);
    QFETCH(int, fileDialog);
    QFETCH(bool, saves);
    AppSettings::instance()->setSetting(AppSettings::SaveModifiedLibraries, setting);
    const QString file = path(QStringLiteral("Antrieb.bli"));
    std::unique_ptr<BlockLibraryFile> library = hasFile ? savedLibrary(file) : std::make_unique<BlockLibraryFile>();
    const QByteArray before = fileContents(file);
    if (modified)
        addBlock(library->library(), Block::createBlock(QStringLiteral("StandardBlock_2")), 1, 2);
    QSignalSpy modifiedSpy(library.get(), &BlockLibraryContainer::modifiedChanged);
    // An answerer for a question that must not come presses Abort, which saves nothing. A
    // file name without a directory lands in the dialog's start directory.
    auto answerer = DialogAnswerer::press(QDialogButtonBox::StandardButton(reply == None ? int(Abort) : reply));
    auto files = fileDialog == 1 ? DialogAnswerer::chooseFile(QStringLiteral("Antrieb.bli")) : DialogAnswerer::cancelFileDialog();
    auto acknowledge = DialogAnswerer::press(QDialogButtonBox::Ok);
    if (how == QLatin1String("request"))
        library->saveRequested();
    else
        QTEST(how == QLatin1String("save") ? library->save(QString()) : library->prepareClose(), "result");
    QCOMPARE(answerer->answered(), reply != None);
    if (reply != None) {
        QCOMPARE(answerer->buttons(), QMessageBox::Yes | QMessageBox::No | QMessageBox::Abort);
        QCOMPARE(answerer->defaultButton(), QMessageBox::Abort);
        QCOMPARE(answerer->icon(), QMessageBox::Question);
        QCOMPARE(answerer->parentWidget(), &m_mainWindow);
        QCOMPARE(answerer->title(), QStringLiteral("Bibliothek wurde geändert"));
        QCOMPARE(answerer->text(), QStringLiteral("Sollen die Änderungen in der Bibliothek \"%1\" gespeichert werden?")
                                           .arg(hasFile ? QStringLiteral("Antrieb.bli") : QStringLiteral("new")));
    }
    QCOMPARE(files->answered(), fileDialog >= 0);
    QCOMPARE(files->title(), fileDialog >= 0 ? QStringLiteral("Bibliothek Speichern") : QString());
    QCOMPARE(acknowledge->answered(), fileDialog == 0);
    if (fileDialog == 0) {
        QCOMPARE(acknowledge->title(), QStringLiteral("Speichern"));
        QCOMPARE(acknowledge->text(), SaveFailure);
        QCOMPARE(acknowledge->icon(), QMessageBox::Critical);
        QCOMPARE(acknowledge->parentWidget(), &m_mainWindow);
    }
    QCOMPARE(library->modified(), modified && !saves);
    QCOMPARE(modifiedSpy.count(), saves ? 1 : 0);
    QCOMPARE(library->filePath(), hasFile || saves ? file : QString());
    QCOMPARE(fileContents(file) == before, !saves);
    BlockLibraryFile onDisk;
    QCOMPARE(onDisk.load(file) && onDisk.library()->containsBlock(QStringLiteral("StandardBlock_2")), saves);
    // Without a stored name, the library is named after its file while that exists.
    QCOMPARE(library->name(), Text(1, QFile::exists(file) ? QStringLiteral("Antrieb.bli") : QStringLiteral("new")));
    QVERIFY(QFile::remove(file) == (hasFile || saves));
    QCOMPARE(library->name(), Text(1, QStringLiteral("new")));
}

void tst_LibraryFile::saveFails_data()
{
    QTest::addColumn<QString>("where");
    QTest::addColumn<bool>("committed"); // the library's own save ran and the commit failed
    QTest::addColumn<QString>("error");  // %1: the path, *: the system's own words for the cause
    const QString notWritten = QStringLiteral("Die Datei „%1“ kann nicht geschrieben werden (*). Die Änderungen wurden nicht gespeichert.");
    // A read-only file is refused before anything is written.
    QTest::newRow("immutable-file") << "immutable-file" << false << QStringLiteral("\"%1\" ist schreibgeschützt.");
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
    if (where == QLatin1String("immutable-file")) {
        immutable = std::make_unique<ImmutableFlag>(existing);
        if (!immutable->set)
            QSKIP("the immutable attribute cannot be set here");
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
    immutable.reset();
    QVERIFY(fileContents(existing) == before);
    QVERIFY(target == existing || !QFileInfo::exists(target));
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("lib.bli")});
}

QTEST_MAIN(tst_LibraryFile)
#include "tst_libraryfile.moc"
