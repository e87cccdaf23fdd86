#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockLibraryFile.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>
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
#include <QtWidgets/QFileDialog>

#include <sqlite3.h>

#include <functional>
#include <memory>

namespace {

const QString SaveTitle = QStringLiteral("Speichern");
const QString SaveFailure = QStringLiteral("Die Bibliothek kann nicht gespeichert werden");
const QString CloseTitle = QStringLiteral("Bibliothek wurde geändert");

QByteArray fileContents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList treeOf(const QString &path)
{
    FileView view;
    view.open(path);
    std::unique_ptr<FileStorageView> root(view.createRootView());
    const QStringList lines = StorageTreeText::lines(root.get());
    root.reset();
    view.close();
    return lines;
}

// Opens a library file and lets edit change its root, as another tool of the suite would.
bool editFile(const QString &path, const std::function<void(FileStorageView *)> &edit)
{
    FileView view;
    view.open(path);
    if (!view.isOpen())
        return false;
    std::unique_ptr<FileStorageView> root(view.createRootView());
    edit(root.get());
    root.reset();
    view.close();
    return !view.hasError();
}

// Every version's path and comparison value, local blocks included: equal lists mean the same
// blocks, versions and compared contents.
void collectCrc(BlockLibrary *library, const QString &prefix, QStringList *out)
{
    const QList<QString> identifiers = library->blockIdentifiers();
    for (const QString &identifier : identifiers) {
        Block *block = library->block(identifier);
        for (unsigned int number : block->versions()) {
            BlockDefinition *version = block->blockDefinition(number);
            const QString path = QStringLiteral("%1%2/V%3").arg(prefix, identifier).arg(number);
            *out << path + QLatin1Char(' ') + QString::fromLatin1(version->compareCrc32Value());
            collectCrc(version->localBlockLibrary(), path + QStringLiteral("/local/"), out);
        }
    }
}

QStringList comparisonValues(BlockLibraryFile *file)
{
    QStringList out;
    collectCrc(file->library(), QString(), &out);
    return out;
}

// A version with levels, code, description, an image and named pins in a skin order,
// differing with seed.
void fillVersion(BlockDefinition *version, int seed)
{
    const QByteArray n = QByteArray::number(seed);
    version->setAccessLevelRead(seed % 5);
    version->setAccessLevelWrite(seed % 7);
    version->setCodeText(";type=\"code\" version=\"0\"\r\nPROGRAM P" + n + "\r\nEND\r\n");
    version->setDescriptionText("<p>Beschreibung " + n + " \xC3\xA4</p>");
    version->setSmallListImage(QStringLiteral("png"), "small-" + n);
    for (int number : {1, 2, 5}) {
        BlockPin *pin = version->createPin(number);
        pin->setFunction(number == 5 ? eBlockPinFunctionOutput : eBlockPinFunctionInput);
        pin->setSimpleType(number + 2);
        pin->setShortName(QStringLiteral("P%1_%2").arg(number).arg(seed));
    }
    Text name(1, QStringLiteral("Eingang ä"));
    name.setText(2, QStringLiteral("Input %1").arg(seed));
    version->pin(1)->setName(name);
    version->defaultSkin()->setInputPinOrder({2, 1});
    version->defaultSkin()->setOutputPinOrder({5});
}

Block *addBlock(BlockLibrary *library, Block *block, int versions, int seed)
{
    Text name(1, QStringLiteral("Baustein %1 Größe").arg(seed));
    name.setText(2, QStringLiteral("Block %1").arg(seed));
    block->setName(name);
    block->setShortName(QStringLiteral("B%1ß").arg(seed));
    block->setGroupPath(QStringLiteral("Gruppe %1/Untergruppe").arg(seed % 3));
    for (int v = 0; v < versions; ++v)
        fillVersion(block->createDefinition(), seed * 10 + v);
    library->insertBlock(block);
    return block;
}

// Removes the immutable attribute again when the test is done, whatever happened.
class ImmutableFlag
{
public:
    explicit ImmutableFlag(const QString &path) : m_path(path), m_set(chattr(QStringLiteral("+i"))) {}
    ~ImmutableFlag()
    {
        if (m_set)
            chattr(QStringLiteral("-i"));
    }
    bool isSet() const { return m_set; }

private:
    bool chattr(const QString &flag) const { return QProcess::execute(QStringLiteral("chattr"), {flag, m_path}) == 0; }
    QString m_path;
    bool m_set;
};

// Holds the write lock of a storage file through a connection of its own, as another
// program writing to the file would.
class WriteLock
{
public:
    explicit WriteLock(const QString &path)
    {
        if (sqlite3_open_v2(QFile::encodeName(path).constData(), &m_db, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK)
            m_locked = sqlite3_exec(m_db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) == SQLITE_OK;
    }
    ~WriteLock()
    {
        if (m_locked)
            sqlite3_exec(m_db, "ROLLBACK", nullptr, nullptr, nullptr);
        sqlite3_close(m_db);
    }
    bool isLocked() const { return m_locked; }

private:
    sqlite3 *m_db = nullptr;
    bool m_locked = false;
};

// Counts the dialogs shown and records what the file dialog offered when it opened.
class DialogRecorder : public QObject
{
public:
    DialogRecorder() { qApp->installEventFilter(this); }
    ~DialogRecorder() override { qApp->removeEventFilter(this); }

    int fileDialogs = 0;
    int messageBoxes = 0;
    QString fileDialogTitle;
    QStringList filters;
    QString directory;
    QWidget *fileDialogParent = nullptr;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() != QEvent::Show)
            return false;
        if (auto *dialog = qobject_cast<QFileDialog *>(watched)) {
            ++fileDialogs;
            fileDialogTitle = dialog->windowTitle();
            filters = dialog->nameFilters();
            directory = dialog->directory().absolutePath();
            fileDialogParent = dialog->parentWidget();
        } else if (qobject_cast<QMessageBox *>(watched)) {
            ++messageBoxes;
        }
        return false;
    }
};

// The replies to the close question; Escape rejects the box.
enum Answer { Yes = QDialogButtonBox::Yes, No = QDialogButtonBox::No, Abort = QDialogButtonBox::Abort, Escape = 0 };

std::unique_ptr<DialogAnswerer> answer(int reply)
{
    return reply == Escape ? DialogAnswerer::reject() : DialogAnswerer::press(QDialogButtonBox::StandardButton(reply));
}

} // namespace

class tst_LibraryFile : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void roundTripOfEveryKindOfBlock();
    void saveDropsWhatWasRemoved();
    void loadFails_data();
    void loadFails();
    void name_data();
    void name();

    void prepareClose_data();
    void prepareClose();
    void saveWithoutPath_data();
    void saveWithoutPath();
    void fixedLibraryFileIsLeftAsItIs();
    void saveRequested_data();
    void saveRequested();
    void saveFails_data();
    void saveFails();

private:
    QString path(const QString &name) const { return m_dir->filePath(name); }
    // A saved library file at path with one standard block; the library is returned unmodified.
    std::unique_ptr<BlockLibraryFile> savedLibrary(const QString &file);

    std::unique_ptr<QTemporaryDir> m_settingsDir;
    // The parent of every dialog; never shown.
    QWidget m_mainWindow;
    std::unique_ptr<QTemporaryDir> m_dir;
};

void tst_LibraryFile::initTestCase()
{
    m_settingsDir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_settingsDir->isValid());
    AppSettings::instance()->setSettingsFile(m_settingsDir->filePath(QStringLiteral("settings.ini")));
    System::instance()->setMainWindow(&m_mainWindow);
}

void tst_LibraryFile::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    AppSettings::instance()->setSetting(AppSettings::SaveModifiedLibraries, AppSettings::AskBeforeSaving);
    std::unique_ptr<DefaultPathSetting> start(DefaultPathSetting::create(eSettingDefaultPathBlockLibraries));
    start->setPath(m_dir->path());
}

void tst_LibraryFile::cleanup()
{
    const QWidgetList widgets = QApplication::topLevelWidgets();
    for (QWidget *widget : widgets)
        QVERIFY2(!widget->isVisible(), qPrintable(widget->metaObject()->className() + QStringLiteral(" left open")));
}

std::unique_ptr<BlockLibraryFile> tst_LibraryFile::savedLibrary(const QString &file)
{
    auto library = std::make_unique<BlockLibraryFile>();
    addBlock(library->library(), Block::createBlock(QStringLiteral("StandardBlock_1")), 1, 1);
    if (!library->save(file))
        return nullptr;
    return library;
}

void tst_LibraryFile::roundTripOfEveryKindOfBlock()
{
    BlockLibraryFile original;
    original.setName(Text(1, QStringLiteral("Testbibliothek")));
    original.setIdentifier(QStringLiteral("{0b5e4c1a-7d0e-4a6c-9f57-0c8a3c2e1d10}"));
    BlockLibrary *library = original.library();

    // System, tool and magic blocks keep no runtime membership in the file: it reads back as 0.
    for (Block *block : {addBlock(library, Block::createBlock(QStringLiteral("SystemBlock_12")), 2, 1),
                         addBlock(library, Block::createBlock(QStringLiteral("ToolBlock_4")), 2, 2),
                         addBlock(library, Block::createBlock(QStringLiteral("MagicBlock_9")), 1, 3)}) {
        for (unsigned int number : block->versions())
            block->blockDefinition(number)->setRuntimeMembership(eRuntimeMembershipNone);
    }
    Block *standard = addBlock(library, Block::createBlock(QStringLiteral("StandardBlock_7")), 3, 4);
    addBlock(library, Block::createBlock(QStringLiteral("TemplateBlock_3")), 2, 5);
    addBlock(library, Block::createBlock(QStringLiteral("RootBlock")), 1, 6);
    Block *user = addBlock(library, Block::createUserBlock(), 2, 7);
    addBlock(library, Block::createUserBlock(), 1, 8);
    // Local blocks two levels deep, below a standard and a user block.
    Block *outer = addBlock(standard->blockDefinition(1)->localBlockLibrary(), Block::createUserBlock(), 2, 9);
    addBlock(outer->blockDefinition(0)->localBlockLibrary(), Block::createUserBlock(), 2, 10);
    addBlock(user->blockDefinition(1)->localBlockLibrary(), Block::createUserBlock(), 1, 11);

    const QString first = path(QStringLiteral("lib.bli"));
    QSignalSpy saved(&original, &BlockLibraryContainer::modifiedChanged);
    QVERIFY(original.save(first));
    QCOMPARE(original.errorString(), QString());
    QCOMPARE(original.filePath(), first);
    QVERIFY(!original.modified());
    QCOMPARE(saved.count(), 1);
    QCOMPARE(saved.at(0).at(0).toBool(), false);
    const QStringList savedTree = treeOf(first);
    QVERIFY(savedTree.size() > 100);

    // Other tools of the suite add a wizard and a template section to a template's version.
    QVERIFY(editFile(first, [](FileStorageView *root) {
        FileStorageView *version = root->storage(QStringLiteral("Blocks"))
                                           ->storage(QStringLiteral("TemplateBlock_3"))
                                           ->storage(QStringLiteral("V1"));
        const QByteArray info = version->readStream(QStringLiteral("Info.ini"));
        QVERIFY(info.startsWith(";type=\"blockversion\" version=\"0\"\r\n"));
        version->writeStream(QStringLiteral("Info.ini"),
                             info + "\r\n;type=\"templateblock\" version=\"0\"\r\n\r\n[Template]\r\nLevelEditOfCopy=4\r\n"
                                    "AvailableFor=Global\r\nParameterGroup=Gruppe\r\n");
        version->storage(QStringLiteral("Wizard"))->writeStream(QStringLiteral("Definition.txt"), "wizard");
    }));

    BlockLibraryFile loaded;
    QSignalSpy loadedSpy(&loaded, &BlockLibraryContainer::modifiedChanged);
    QVERIFY(loaded.load(first));
    QCOMPARE(loaded.filePath(), first);
    QVERIFY(!loaded.modified());
    QVERIFY(!loadedSpy.isEmpty());
    QCOMPARE(loadedSpy.last().at(0).toBool(), false);
    QCOMPARE(loaded.library()->blockIdentifiers().size(), 8);
    QCOMPARE(comparisonValues(&loaded), comparisonValues(&original));
    BlockDefinition *loadedTemplate = loaded.library()->block(QStringLiteral("TemplateBlock_3"))->blockDefinition(1);
    QVERIFY(loadedTemplate->isGlobalTemplate());
    QCOMPARE(loadedTemplate->templateTargetAccessLevelRead(), 4u);
    QCOMPARE(loadedTemplate->templateTargetAccessLevelWrite(), 4u);
    QCOMPARE(loadedTemplate->wizardDefinition(), QByteArray("wizard"));
    QCOMPARE(loadedTemplate->parameterGroup(), QByteArray("Gruppe"));

    // Saved again, every stream comes back byte for byte; the file is rewritten from scratch,
    // so the entries that only other tools write are gone.
    const QString second = path(QStringLiteral("again.bli"));
    QVERIFY(loaded.save(second));
    QCOMPARE(treeOf(second), savedTree);
}

void tst_LibraryFile::saveDropsWhatWasRemoved()
{
    const QString file = path(QStringLiteral("lib.bli"));
    BlockLibraryFile library;
    addBlock(library.library(), Block::createBlock(QStringLiteral("StandardBlock_1")), 2, 1);
    addBlock(library.library(), Block::createBlock(QStringLiteral("StandardBlock_2")), 1, 2);
    Block *user = addBlock(library.library(), Block::createUserBlock(), 1, 3);
    BlockLibrary *local = user->blockDefinition(0)->localBlockLibrary();
    addBlock(local, Block::createUserBlock(), 1, 4);
    QVERIFY(library.save(file));

    delete library.library()->removeBlock(QStringLiteral("StandardBlock_2"));
    library.library()->block(QStringLiteral("StandardBlock_1"))->deleteDefinition(1);
    delete local->removeBlock(local->blockIdentifiers().first());
    QVERIFY(library.modified());
    QVERIFY(library.save(file));

    // The file holds exactly what a save into a new file holds.
    const QString fresh = path(QStringLiteral("fresh.bli"));
    QVERIFY(library.save(fresh));
    const QStringList tree = treeOf(file);
    QCOMPARE(tree, treeOf(fresh));
    QVERIFY(!tree.contains(QStringLiteral("storage Blocks/StandardBlock_2")));
    QVERIFY(!tree.contains(QStringLiteral("storage Blocks/StandardBlock_1/V1")));
    QVERIFY(tree.contains(QStringLiteral("storage Blocks/StandardBlock_1/V0")));
    QVERIFY(!tree.contains(QStringLiteral("storage Blocks/Number_0/V0/Blocks/Number_0")));
}

void tst_LibraryFile::loadFails_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("pathTaken");
    QTest::addColumn<QString>("error"); // %1: the path

    QTest::newRow("missing-file") << "missing" << false << QStringLiteral("Die Datei „%1“ existiert nicht.");
    QTest::newRow("not-a-storage-file") << "text" << false << QStringLiteral("Die Datei „%1“ ist keine Speicherdatei.");
    QTest::newRow("directory") << "directory" << false << QStringLiteral("„%1“ ist ein Verzeichnis.");
    QTest::newRow("library-without-blocks") << "no-blocks" << true << QStringLiteral("\"%1\" enthält keine Bausteinbibliothek.");
}

void tst_LibraryFile::loadFails()
{
    QFETCH(QString, kind);
    QFETCH(bool, pathTaken);
    QFETCH(QString, error);

    const QString file = path(QStringLiteral("input.bli"));
    if (kind == QLatin1String("text")) {
        QFile out(file);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write("not a storage file");
    } else if (kind == QLatin1String("directory")) {
        QVERIFY(QDir().mkdir(file));
    } else if (kind != QLatin1String("missing")) {
        // A library description without the blocks' storage.
        FileView view;
        view.create(file);
        std::unique_ptr<FileStorageView> root(view.createRootView());
        root->writeStream(QStringLiteral("Info.ini"), ";type=\"blocklibrary\" version=\"0\"\r\n\r\n[Info]\r\n");
        root.reset();
        view.close();
        QVERIFY(!view.hasError());
    }

    const QString previous = path(QStringLiteral("previous.bli"));
    std::unique_ptr<BlockLibraryFile> library = savedLibrary(previous);
    QVERIFY(library);
    QVERIFY(!library->load(file));
    QCOMPARE(library->errorString(), error.arg(QDir::toNativeSeparators(file)));
    QCOMPARE(library->filePath(), pathTaken ? file : previous);
    // A file that cannot be opened changes nothing; one that opens replaces the contents.
    QCOMPARE(library->library()->blockIdentifiers().isEmpty(), pathTaken);
}

void tst_LibraryFile::name_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<int>("language");

    QTest::newRow("new") << "new" << "new" << 1;
    QTest::newRow("saved") << "saved" << "Regler.bli" << 1;
    QTest::newRow("file-removed") << "removed" << "new" << 1;
    QTest::newRow("stored-name") << "named" << "Meine Bibliothek" << 2;
    QTest::newRow("stored-empty-text") << "empty-name" << "" << 3;
}

void tst_LibraryFile::name()
{
    QFETCH(QString, state);
    QFETCH(QString, expected);
    QFETCH(int, language);

    BlockLibraryFile library;
    const QString file = path(QStringLiteral("Regler.bli"));
    if (state != QLatin1String("new"))
        QVERIFY(library.save(file));
    if (state == QLatin1String("removed"))
        QVERIFY(QFile::remove(file));
    if (state == QLatin1String("named"))
        library.setName(Text(2, QStringLiteral("Meine Bibliothek")));
    if (state == QLatin1String("empty-name"))
        library.setName(Text(3, QString()));

    const Text name = library.name();
    QCOMPARE(name.textLanguages(), QList<int>{language});
    QCOMPARE(name.text(language), expected);
    QVERIFY(name.isMonolingual());
}

void tst_LibraryFile::prepareClose_data()
{
    QTest::addColumn<int>("reply"); // -1: the library is unmodified and nothing is asked
    QTest::addColumn<bool>("result");
    QTest::addColumn<bool>("saves");

    QTest::newRow("yes-saves") << int(Yes) << true << true;
    QTest::newRow("no-closes-without-saving") << int(No) << true << false;
    QTest::newRow("abort-keeps-open") << int(Abort) << false << false;
    QTest::newRow("escape-keeps-open") << int(Escape) << false << false;
    QTest::newRow("unmodified-closes-without-asking") << -1 << true << false;
}

void tst_LibraryFile::prepareClose()
{
    QFETCH(int, reply);
    QFETCH(bool, result);
    QFETCH(bool, saves);

    const QString file = path(QStringLiteral("Antrieb.bli"));
    std::unique_ptr<BlockLibraryFile> library = savedLibrary(file);
    QVERIFY(library);
    const QByteArray before = fileContents(file);
    const bool modify = reply >= 0;
    if (modify)
        addBlock(library->library(), Block::createBlock(QStringLiteral("StandardBlock_2")), 1, 2);

    DialogRecorder recorder;
    auto answerer = answer(modify ? reply : Abort);
    QCOMPARE(library->prepareClose(), result);
    QCOMPARE(answerer->answered(), modify);
    QCOMPARE(recorder.messageBoxes, modify ? 1 : 0);
    if (modify) {
        QCOMPARE(answerer->buttons(), QMessageBox::Yes | QMessageBox::No | QMessageBox::Abort);
        QCOMPARE(answerer->defaultButton(), QMessageBox::Abort);
        QCOMPARE(answerer->icon(), QMessageBox::Question);
        QCOMPARE(answerer->parentWidget(), &m_mainWindow);
        QCOMPARE(answerer->title(), CloseTitle);
        QCOMPARE(answerer->text(), QStringLiteral("Sollen die Änderungen in der Bibliothek \"Antrieb.bli\" gespeichert werden?"));
    }
    QCOMPARE(library->modified(), modify && !saves);

    BlockLibraryFile onDisk;
    QVERIFY(onDisk.load(file));
    QCOMPARE(onDisk.library()->containsBlock(QStringLiteral("StandardBlock_2")), saves);
    if (!saves)
        QVERIFY(fileContents(file) == before);
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
    DialogRecorder recorder;
    auto yes = closing ? DialogAnswerer::press(QDialogButtonBox::Yes) : nullptr;
    auto fileDialog = choose ? DialogAnswerer::chooseFile(file) : DialogAnswerer::cancelFileDialog();
    auto acknowledge = DialogAnswerer::press(QDialogButtonBox::Ok);
    QSignalSpy modified(&library, &BlockLibraryContainer::modifiedChanged);

    QCOMPARE(closing ? library.prepareClose() : library.save(QString()), choose);
    QVERIFY(fileDialog->answered());
    QCOMPARE(recorder.fileDialogs, 1);
    QCOMPARE(recorder.fileDialogTitle, QStringLiteral("Bibliothek Speichern"));
    QCOMPARE(recorder.filters, QStringList{QStringLiteral("Bausteinbibliotheken (*.bli)")});
    QCOMPARE(recorder.directory, QDir(m_dir->path()).absolutePath());
    QCOMPARE(recorder.fileDialogParent, &m_mainWindow);
    if (closing)
        QCOMPARE(yes->text(), QStringLiteral("Sollen die Änderungen in der Bibliothek \"new\" gespeichert werden?"));

    if (choose) {
        QCOMPARE(recorder.messageBoxes, 0);
        QCOMPARE(library.filePath(), file);
        QVERIFY(!library.modified());
        QCOMPARE(modified.count(), 1);
        QCOMPARE(library.name().text(1), QStringLiteral("chosen.bli"));
        BlockLibraryFile loaded;
        QVERIFY(loaded.load(file));
        QCOMPARE(loaded.library()->blockIdentifiers(), QList<QString>{QStringLiteral("StandardBlock_1")});
        return;
    }
    // Cancelling ends in the save failure; the library stays open, modified and without a path.
    QCOMPARE(recorder.messageBoxes, closing ? 2 : 1);
    QVERIFY(acknowledge->answered());
    QCOMPARE(acknowledge->title(), SaveTitle);
    QCOMPARE(acknowledge->text(), SaveFailure);
    QCOMPARE(acknowledge->buttons(), QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(acknowledge->icon(), QMessageBox::Critical);
    QCOMPARE(acknowledge->parentWidget(), &m_mainWindow);
    QCOMPARE(library.filePath(), QString());
    QVERIFY(library.modified());
    QCOMPARE(modified.count(), 0);
    QVERIFY(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden).isEmpty());
}

void tst_LibraryFile::fixedLibraryFileIsLeftAsItIs()
{
    // A library file whose stored type makes it fixed: saving it succeeds, writes nothing
    // and must not empty the file.
    const QString file = path(QStringLiteral("fixed.bli"));
    QVERIFY(savedLibrary(file));
    QVERIFY(editFile(file, [](FileStorageView *root) {
        QByteArray info = root->readStream(QStringLiteral("Info.ini"));
        QVERIFY(info.contains("Type=256\r\n"));
        root->writeStream(QStringLiteral("Info.ini"), info.replace("Type=256", "Type=3"));
    }));
    const QByteArray before = fileContents(file);

    BlockLibraryFile library;
    QVERIFY(library.load(file));
    QCOMPARE(library.type(), 3u);
    QVERIFY(!library.modified());
    QSignalSpy modified(&library, &BlockLibraryContainer::modifiedChanged);
    QVERIFY(library.save(file));
    QCOMPARE(modified.count(), 0);
    QVERIFY(fileContents(file) == before);
}

void tst_LibraryFile::saveRequested_data()
{
    QTest::addColumn<uint>("setting");
    QTest::addColumn<bool>("modified");
    QTest::addColumn<int>("reply"); // -1: no dialog expected
    QTest::addColumn<bool>("saves");

    QTest::newRow("silently") << 0u << true << -1 << true;
    QTest::newRow("ask-yes") << 1u << true << int(Yes) << true;
    QTest::newRow("ask-no") << 1u << true << int(No) << false;
    QTest::newRow("ask-abort") << 1u << true << int(Abort) << false;
    QTest::newRow("other-setting") << 2u << true << -1 << false;
    QTest::newRow("unmodified-silently") << 0u << false << -1 << false;
    QTest::newRow("unmodified-ask") << 1u << false << -1 << false;
}

void tst_LibraryFile::saveRequested()
{
    QFETCH(uint, setting);
    QFETCH(bool, modified);
    QFETCH(int, reply);
    QFETCH(bool, saves);

    AppSettings::instance()->setSetting(AppSettings::SaveModifiedLibraries, setting);
    const QString file = path(QStringLiteral("lib.bli"));
    std::unique_ptr<BlockLibraryFile> library = savedLibrary(file);
    QVERIFY(library);
    if (modified) {
        // A short name is no change the library hears of: mark it as an editor would.
        library->library()->block(QStringLiteral("StandardBlock_1"))->setShortName(QStringLiteral("changed"));
        library->setModified();
    }
    const QByteArray before = fileContents(file);
    QSignalSpy modifiedSpy(library.get(), &BlockLibraryContainer::modifiedChanged);

    // An answerer for a dialog that must not come presses Abort, which saves nothing.
    auto answerer = answer(reply < 0 ? Abort : reply);
    library->saveRequested();
    QCOMPARE(answerer->answered(), reply >= 0);
    if (reply >= 0)
        QCOMPARE(answerer->title(), CloseTitle);
    QCOMPARE(library->modified(), modified && !saves);
    QCOMPARE(modifiedSpy.count(), saves ? 1 : 0);
    BlockLibraryFile onDisk;
    QVERIFY(onDisk.load(file));
    QCOMPARE(onDisk.library()->block(QStringLiteral("StandardBlock_1"))->shortName(),
             saves ? QStringLiteral("changed") : QStringLiteral("B1ß"));
    if (!saves)
        QVERIFY(fileContents(file) == before);
}

void tst_LibraryFile::saveFails_data()
{
    QTest::addColumn<QString>("where");
    QTest::addColumn<bool>("committed"); // the library's own save ran and the commit failed
    QTest::addColumn<QString>("error");  // %1: the path, *: any text

    const QString notWritten = QStringLiteral("Die Datei „%1“ kann nicht geschrieben werden (*). Die Änderungen wurden nicht gespeichert.");
    QTest::newRow("immutable-file") << "immutable-file" << false << QStringLiteral("\"%1\" ist schreibgeschützt.");
    QTest::newRow("immutable-directory") << "immutable-directory" << true << notWritten;
    QTest::newRow("locked-by-another-program")
            << "locked" << true
            << QStringLiteral("Die Datei „%1“ ist von einem anderen Programm gesperrt. Die Änderungen wurden nicht gespeichert.");
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
    QVERIFY(library);
    const QByteArray before = fileContents(existing);
    addBlock(library->library(), Block::createBlock(QStringLiteral("StandardBlock_2")), 1, 2);

    QString target = existing;
    std::unique_ptr<ImmutableFlag> immutable;
    std::unique_ptr<WriteLock> lock;
    if (where == QLatin1String("immutable-file")) {
        immutable = std::make_unique<ImmutableFlag>(existing);
    } else if (where == QLatin1String("immutable-directory")) {
        immutable = std::make_unique<ImmutableFlag>(m_dir->path());
    } else if (where == QLatin1String("locked")) {
        lock = std::make_unique<WriteLock>(existing);
        QVERIFY(lock->isLocked());
    } else if (where == QLatin1String("below-a-file")) {
        target = existing + QStringLiteral("/lib.bli");
    } else if (where == QLatin1String("proc")) {
        target = QStringLiteral("/proc/kvblocklibrary-test.bli");
    }
    if (immutable && !immutable->isSet())
        QSKIP("the immutable attribute cannot be set here");

    QSignalSpy modified(library.get(), &BlockLibraryContainer::modifiedChanged);
    auto acknowledge = DialogAnswerer::press(QDialogButtonBox::Ok);
    QVERIFY(!library->save(target));
    QVERIFY(acknowledge->answered());
    QCOMPARE(acknowledge->title(), SaveTitle);
    QCOMPARE(acknowledge->text(), SaveFailure);
    // "*" stands for the system's own words for the cause.
    const QStringList parts = error.arg(QDir::toNativeSeparators(target)).split(QLatin1Char('*'));
    if (parts.size() == 2)
        QVERIFY2(library->errorString().startsWith(parts.first()) && library->errorString().endsWith(parts.last()),
                 qPrintable(library->errorString()));
    else
        QCOMPARE(library->errorString(), parts.first());

    // Nothing is lost: the library still counts as changed and the file is as it was.
    QVERIFY(library->modified());
    QCOMPARE(library->filePath(), existing);
    QCOMPARE(modified.count(), committed ? 2 : 0);
    if (committed) {
        QCOMPARE(modified.at(0).at(0).toBool(), false);
        QCOMPARE(modified.at(1).at(0).toBool(), true);
    }
    lock.reset();
    immutable.reset();
    QVERIFY(fileContents(existing) == before);
    if (target != existing)
        QVERIFY(!QFileInfo::exists(target));
    QCOMPARE(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden), QStringList{QStringLiteral("lib.bli")});
}

QTEST_MAIN(tst_LibraryFile)
#include "tst_libraryfile.moc"
