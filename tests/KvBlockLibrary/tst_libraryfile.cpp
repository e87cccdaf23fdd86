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

#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QFileDialog>

#include <sqlite3.h>

#include <memory>

namespace {

const QByteArray CodeHeader(";type=\"code\" version=\"0\"\r\n");
const QString SaveTitle = QStringLiteral("Speichern");
const QString SaveFailure = QStringLiteral("Die Bibliothek kann nicht gespeichert werden");
const QString CloseTitle = QStringLiteral("Bibliothek wurde geändert");

QByteArray fileContents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString hashed(const QByteArray &data)
{
    return QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Sha1).toHex().left(12));
}

QString textLine(const Text &text)
{
    QStringList parts;
    const QList<int> languages = text.textLanguages();
    for (int language : languages)
        parts << QStringLiteral("%1:%2").arg(language).arg(text.text(language));
    return parts.join(QLatin1Char('|'));
}

QString numbers(const QList<int> &list)
{
    QStringList parts;
    for (int n : list)
        parts << QString::number(n);
    return parts.join(QLatin1Char(','));
}

void describeLibrary(BlockLibrary *library, const QString &prefix, bool withTemplate, QStringList *out);

// Every field of a version that its storage keeps, one line per item, so that one QCOMPARE
// of two libraries shows where they differ.
void describeVersion(BlockDefinition *version, const QString &path, bool withTemplate, QStringList *out)
{
    *out << QStringLiteral("%1 levels %2/%3 max %4 membership %5")
                    .arg(path)
                    .arg(version->accessLevelRead())
                    .arg(version->accessLevelWrite())
                    .arg(version->maxUsedSystemBlock())
                    .arg(version->runtimeMembership());
    const QString code = QString::fromLatin1(version->codeText()).replace(QLatin1Char('\r'), QLatin1String("\\r")).replace(QLatin1Char('\n'), QLatin1String("\\n"));
    *out << QStringLiteral("%1 code v%2 %3").arg(path).arg(version->codeTextVersion()).arg(code);
    *out << QStringLiteral("%1 description %2").arg(path, QString::fromUtf8(version->descriptionText()));
    *out << QStringLiteral("%1 images %2 %3 %4 %5")
                    .arg(path, version->smallListImageName(), hashed(version->smallListImage()), version->largeListImageName(),
                         hashed(version->largeListImage()));
    const QList<int> pins = version->pins();
    for (int number : pins) {
        const BlockPin *pin = version->pin(number);
        *out << QStringLiteral("%1 pin %2 type %3 function %4 short %5 name %6")
                        .arg(path)
                        .arg(number)
                        .arg(pin->datatype())
                        .arg(pin->function())
                        .arg(pin->shortName(), textLine(pin->name()));
    }
    *out << QStringLiteral("%1 skin in %2 out %3")
                    .arg(path, numbers(version->defaultSkin()->inputPinOrder()), numbers(version->defaultSkin()->outputPinOrder()));
    if (withTemplate) {
        *out << QStringLiteral("%1 template global %2 exclusive %3 levels %4/%5")
                        .arg(path)
                        .arg(version->isGlobalTemplate())
                        .arg(version->isExclusiveTemplate())
                        .arg(version->templateTargetAccessLevelRead())
                        .arg(version->templateTargetAccessLevelWrite());
    }
    describeLibrary(version->localBlockLibrary(), path + QStringLiteral("/local/"), withTemplate, out);
}

void describeLibrary(BlockLibrary *library, const QString &prefix, bool withTemplate, QStringList *out)
{
    const QList<QString> identifiers = library->blockIdentifiers();
    for (const QString &identifier : identifiers) {
        Block *block = library->block(identifier);
        const QString path = prefix + identifier;
        *out << QStringLiteral("%1 name %2 short %3 group %4 local %5")
                        .arg(path, textLine(block->name()), block->shortName(), block->groupPath())
                        .arg(block->isLocalBlock());
        const QList<unsigned int> versions = block->versions();
        for (unsigned int number : versions)
            describeVersion(block->blockDefinition(number), QStringLiteral("%1/V%2").arg(path).arg(number), withTemplate, out);
    }
}

QStringList describe(BlockLibraryFile *file, bool withTemplate)
{
    QStringList out;
    out << QStringLiteral("library %1 name %2 type %3 readOnly %4")
                   .arg(file->identifier(), textLine(file->name()))
                   .arg(file->type())
                   .arg(file->readOnly());
    describeLibrary(file->library(), QString(), withTemplate, &out);
    return out;
}

void collectCrc(BlockLibrary *library, const QString &prefix, QStringList *out)
{
    const QList<QString> identifiers = library->blockIdentifiers();
    for (const QString &identifier : identifiers) {
        Block *block = library->block(identifier);
        const QList<unsigned int> versions = block->versions();
        for (unsigned int number : versions) {
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

BlockPin *addPin(BlockDefinition *version, int number, eBlockPinFunction function, unsigned char type,
                 const QString &shortName)
{
    BlockPin *pin = version->createPin(number);
    pin->setFunction(function);
    pin->setSimpleType(type);
    pin->setShortName(shortName);
    return pin;
}

// A version with a bit of everything, differing with seed.
void fillVersion(BlockDefinition *version, int seed)
{
    version->setAccessLevelRead(seed % 5);
    version->setAccessLevelWrite(seed % 7);
    version->setCodeText(CodeHeader + "PROGRAM P" + QByteArray::number(seed) + "\r\nEND\r\n");
    version->setDescriptionText("<p>Beschreibung " + QByteArray::number(seed) + " \xC3\xA4</p>");
    version->setSmallListImage(QStringLiteral("png"), "small-" + QByteArray::number(seed));
    if (seed % 2)
        version->setLargeListImage(QStringLiteral("bmp"), "large-" + QByteArray::number(seed));
    BlockPin *input = addPin(version, 1, eBlockPinFunctionInput, 4, QStringLiteral("IN%1").arg(seed));
    Text name(1, QStringLiteral("Eingang ä"));
    name.setText(2, QStringLiteral("Input %1").arg(seed));
    input->setName(name);
    addPin(version, 2, eBlockPinFunctionInput, 1, QStringLiteral("EN"));
    addPin(version, 5, eBlockPinFunctionOutput, 7, QStringLiteral("OUT"));
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
    explicit ImmutableFlag(const QString &path)
        : m_path(path)
    {
        m_set = QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("+i"), m_path}) == 0;
    }
    ~ImmutableFlag()
    {
        if (m_set)
            QProcess::execute(QStringLiteral("chattr"), {QStringLiteral("-i"), m_path});
    }
    bool isSet() const { return m_set; }

private:
    QString m_path;
    bool m_set = false;
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

// Records what the dialogs showed when they opened, before anyone answers them.
class DialogRecorder : public QObject
{
public:
    DialogRecorder() { qApp->installEventFilter(this); }
    ~DialogRecorder() override { qApp->removeEventFilter(this); }

    int fileDialogs = 0;
    QString fileDialogTitle;
    QStringList filters;
    QString directory;
    QWidget *fileDialogParent = nullptr;

    int messageBoxes = 0;
    QMessageBox::StandardButtons buttons;
    QMessageBox::StandardButton defaultButton = QMessageBox::NoButton;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    QWidget *messageBoxParent = nullptr;

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
        } else if (auto *box = qobject_cast<QMessageBox *>(watched)) {
            ++messageBoxes;
            buttons = box->standardButtons();
            defaultButton = box->standardButton(box->defaultButton());
            icon = box->icon();
            messageBoxParent = box->parentWidget();
        }
        return false;
    }
};

enum Answer { Yes, No, Abort, Escape };

std::unique_ptr<DialogAnswerer> answer(Answer answer)
{
    switch (answer) {
    case Yes:
        return DialogAnswerer::press(QDialogButtonBox::Yes);
    case No:
        return DialogAnswerer::press(QDialogButtonBox::No);
    case Abort:
        return DialogAnswerer::press(QDialogButtonBox::Abort);
    case Escape:
        break;
    }
    return DialogAnswerer::reject();
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
    void unmodifiedLibraryClosesWithoutAsking();
    void cancelledSaveDialog();
    void closeQuestionYesWithoutPath();
    void fixedLibraryFileIsLeftAsItIs();
    void saveDialogAnsweredWithPath();
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
    Block *templ = addBlock(library, Block::createBlock(QStringLiteral("TemplateBlock_3")), 2, 5);
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

    // Other tools of the suite add a wizard and a template section to a template's version.
    {
        FileView file;
        file.open(first);
        QVERIFY2(file.isOpen(), qPrintable(file.errorString()));
        std::unique_ptr<FileStorageView> root(file.createRootView());
        FileStorageView *version = root->storage(QStringLiteral("Blocks"))
                                           ->storage(QStringLiteral("TemplateBlock_3"))
                                           ->storage(QStringLiteral("V1"));
        const QByteArray info = version->readStream(QStringLiteral("Info.ini"));
        QVERIFY(info.startsWith(";type=\"blockversion\" version=\"0\"\r\n"));
        version->writeStream(QStringLiteral("Info.ini"),
                             info + "\r\n;type=\"templateblock\" version=\"0\"\r\n\r\n[Template]\r\nLevelEditOfCopy=4\r\n"
                                    "AvailableFor=Global\r\nParameterGroup=Gruppe\r\n");
        version->storage(QStringLiteral("Wizard"))->writeStream(QStringLiteral("Definition.txt"), "wizard");
        root.reset();
        file.close();
        QVERIFY2(!file.hasError(), qPrintable(file.errorString()));
    }
    BlockDefinition *templateVersion = templ->blockDefinition(1);
    templateVersion->setGlobalTemplate(true);
    templateVersion->setTemplateTargetAccessLevelRead(4);
    templateVersion->setTemplateTargetAccessLevelWrite(4);

    BlockLibraryFile loaded;
    QSignalSpy loadedSpy(&loaded, &BlockLibraryContainer::modifiedChanged);
    QVERIFY(loaded.load(first));
    QCOMPARE(loaded.filePath(), first);
    QVERIFY(!loaded.modified());
    QVERIFY(!loadedSpy.isEmpty());
    QCOMPARE(loadedSpy.last().at(0).toBool(), false);
    QCOMPARE(loaded.library()->blockIdentifiers().size(), 8);
    QCOMPARE(describe(&loaded, true), describe(&original, true));
    QCOMPARE(comparisonValues(&loaded), comparisonValues(&original));
    BlockDefinition *loadedTemplate = loaded.library()->block(QStringLiteral("TemplateBlock_3"))->blockDefinition(1);
    QCOMPARE(loadedTemplate->wizardDefinition(), QByteArray("wizard"));
    QCOMPARE(loadedTemplate->parameterGroup(), QByteArray("Gruppe"));

    // A library saved by this code again: the file is rewritten from scratch, so the
    // entries that only other tools write are gone.
    const QString second = path(QStringLiteral("again.bli"));
    QVERIFY(loaded.save(second));
    BlockLibraryFile reloaded;
    QVERIFY(reloaded.load(second));
    QCOMPARE(describe(&reloaded, false), describe(&original, false));
    QCOMPARE(comparisonValues(&reloaded), comparisonValues(&original));
    BlockDefinition *rewrittenTemplate = reloaded.library()->block(QStringLiteral("TemplateBlock_3"))->blockDefinition(1);
    QVERIFY(!rewrittenTemplate->isGlobalTemplate());
    QCOMPARE(rewrittenTemplate->wizardDefinition(), QByteArray());
}

void tst_LibraryFile::saveDropsWhatWasRemoved()
{
    const QString file = path(QStringLiteral("lib.bli"));
    BlockLibraryFile library;
    addBlock(library.library(), Block::createBlock(QStringLiteral("StandardBlock_1")), 2, 1);
    addBlock(library.library(), Block::createBlock(QStringLiteral("StandardBlock_2")), 1, 2);
    Block *user = addBlock(library.library(), Block::createUserBlock(), 1, 3);
    addBlock(user->blockDefinition(0)->localBlockLibrary(), Block::createUserBlock(), 1, 4);
    QVERIFY(library.save(file));

    delete library.library()->removeBlock(QStringLiteral("StandardBlock_2"));
    library.library()->block(QStringLiteral("StandardBlock_1"))->deleteDefinition(1);
    delete user->blockDefinition(0)->localBlockLibrary()->removeBlock(
            user->blockDefinition(0)->localBlockLibrary()->blockIdentifiers().first());
    QVERIFY(library.modified());
    QVERIFY(library.save(file));

    // The file holds exactly what a save into a new file holds.
    const QString fresh = path(QStringLiteral("fresh.bli"));
    QVERIFY(library.save(fresh));
    auto treeOf = [](const QString &name) {
        FileView view;
        view.open(name);
        std::unique_ptr<FileStorageView> root(view.createRootView());
        const QStringList lines = StorageTreeText::lines(root.get());
        root.reset();
        view.close();
        return lines;
    };
    const QStringList tree = treeOf(file);
    QCOMPARE(tree, treeOf(fresh));
    QVERIFY(!tree.contains(QStringLiteral("storage Blocks/StandardBlock_2")));
    QVERIFY(!tree.contains(QStringLiteral("storage Blocks/StandardBlock_1/V1")));
    QVERIFY(tree.contains(QStringLiteral("storage Blocks/StandardBlock_1/V0")));
    QVERIFY(!tree.contains(QStringLiteral("storage Blocks/Number_0/V0/Blocks/Number_0")));

    BlockLibraryFile loaded;
    QVERIFY(loaded.load(file));
    QCOMPARE(loaded.library()->blockIdentifiers(), (QList<QString>{QStringLiteral("StandardBlock_1"), user->identifier()}));
    QCOMPARE(loaded.library()->block(QStringLiteral("StandardBlock_1"))->versions(), QList<unsigned int>{0});
}

void tst_LibraryFile::loadFails_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<bool>("pathTaken");
    QTest::addColumn<QString>("error"); // %1: the path

    QTest::newRow("missing-file") << "missing" << false << QStringLiteral("Die Datei „%1“ existiert nicht.");
    QTest::newRow("not-a-storage-file") << "text" << false << QStringLiteral("Die Datei „%1“ ist keine Speicherdatei.");
    QTest::newRow("directory") << "directory" << false << QStringLiteral("„%1“ ist ein Verzeichnis.");
    QTest::newRow("storage-without-library") << "storage" << true << QStringLiteral("\"%1\" enthält keine Bausteinbibliothek.");
    QTest::newRow("library-kind-wrong") << "wrong-kind" << true << QStringLiteral("\"%1\" enthält keine Bausteinbibliothek.");
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
        FileView view;
        view.create(file);
        std::unique_ptr<FileStorageView> root(view.createRootView());
        if (kind == QLatin1String("storage"))
            root->writeStream(QStringLiteral("x"), "1");
        else if (kind == QLatin1String("wrong-kind"))
            StorageTreeText::write(root.get(), {{"Info.ini", ";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\n"}, {"Blocks/Content.txt", ""}});
        else
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
    QTest::addColumn<int>("reply");
    QTest::addColumn<bool>("result");
    QTest::addColumn<bool>("saves");

    QTest::newRow("yes-saves") << int(Yes) << true << true;
    QTest::newRow("no-closes-without-saving") << int(No) << true << false;
    QTest::newRow("abort-keeps-open") << int(Abort) << false << false;
    QTest::newRow("escape-keeps-open") << int(Escape) << false << false;
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
    addBlock(library->library(), Block::createBlock(QStringLiteral("StandardBlock_2")), 1, 2);
    QVERIFY(library->modified());

    DialogRecorder recorder;
    auto answerer = answer(Answer(reply));
    QCOMPARE(library->prepareClose(), result);
    QVERIFY(answerer->answered());
    QCOMPARE(recorder.messageBoxes, 1);
    QCOMPARE(recorder.buttons, QMessageBox::Yes | QMessageBox::No | QMessageBox::Abort);
    QCOMPARE(recorder.defaultButton, QMessageBox::Abort);
    QCOMPARE(recorder.icon, QMessageBox::Question);
    QCOMPARE(recorder.messageBoxParent, &m_mainWindow);
    QCOMPARE(answerer->title(), CloseTitle);
    QCOMPARE(answerer->text(), QStringLiteral("Sollen die Änderungen in der Bibliothek \"Antrieb.bli\" gespeichert werden?"));
    QCOMPARE(library->modified(), !saves);

    BlockLibraryFile onDisk;
    QVERIFY(onDisk.load(file));
    QCOMPARE(onDisk.library()->containsBlock(QStringLiteral("StandardBlock_2")), saves);
    if (!saves)
        QVERIFY(fileContents(file) == before);
}

void tst_LibraryFile::unmodifiedLibraryClosesWithoutAsking()
{
    auto answerer = DialogAnswerer::press(QDialogButtonBox::Abort);
    BlockLibraryFile fresh;
    QVERIFY(!fresh.modified());
    QVERIFY(fresh.prepareClose());

    const QString file = path(QStringLiteral("lib.bli"));
    QVERIFY(savedLibrary(file));
    BlockLibraryFile loaded;
    QVERIFY(loaded.load(file));
    QVERIFY(loaded.prepareClose());
    QSignalSpy modified(&loaded, &BlockLibraryContainer::modifiedChanged);
    loaded.saveRequested();
    QCOMPARE(modified.count(), 0);
    QVERIFY(!answerer->answered());
}

void tst_LibraryFile::cancelledSaveDialog()
{
    BlockLibraryFile library;
    addBlock(library.library(), Block::createBlock(QStringLiteral("StandardBlock_1")), 1, 1);
    DialogRecorder recorder;
    auto cancel = DialogAnswerer::reject();
    auto acknowledge = DialogAnswerer::press(QDialogButtonBox::Ok);
    QSignalSpy modified(&library, &BlockLibraryContainer::modifiedChanged);

    QVERIFY(!library.save(QString()));
    QCOMPARE(recorder.fileDialogs, 1);
    QCOMPARE(recorder.fileDialogTitle, QStringLiteral("Bibliothek Speichern"));
    QCOMPARE(recorder.filters, QStringList{QStringLiteral("Bausteinbibliotheken (*.bli)")});
    QCOMPARE(recorder.directory, QDir(m_dir->path()).absolutePath());
    QCOMPARE(recorder.fileDialogParent, &m_mainWindow);
    QCOMPARE(recorder.messageBoxes, 1);
    QCOMPARE(recorder.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
    QCOMPARE(recorder.icon, QMessageBox::Critical);
    QCOMPARE(recorder.messageBoxParent, &m_mainWindow);
    QVERIFY(cancel->answered());
    QVERIFY(acknowledge->answered());
    QCOMPARE(acknowledge->title(), SaveTitle);
    QCOMPARE(acknowledge->text(), SaveFailure);
    QCOMPARE(library.filePath(), QString());
    QVERIFY(library.modified());
    QCOMPARE(modified.count(), 0);
    QVERIFY(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden).isEmpty());
}

void tst_LibraryFile::closeQuestionYesWithoutPath()
{
    // "Yes" on a library that has never been saved asks for a path; cancelling that ends
    // in the save failure, and the library stays open and modified.
    BlockLibraryFile library;
    addBlock(library.library(), Block::createBlock(QStringLiteral("StandardBlock_1")), 1, 1);
    DialogRecorder recorder;
    auto yes = DialogAnswerer::press(QDialogButtonBox::Yes);
    auto cancel = DialogAnswerer::cancelFileDialog();
    auto acknowledge = DialogAnswerer::press(QDialogButtonBox::Ok);

    QVERIFY(!library.prepareClose());
    QVERIFY(yes->answered());
    QVERIFY(cancel->answered());
    QVERIFY(acknowledge->answered());
    QCOMPARE(yes->text(), QStringLiteral("Sollen die Änderungen in der Bibliothek \"new\" gespeichert werden?"));
    QCOMPARE(recorder.fileDialogs, 1);
    QCOMPARE(recorder.messageBoxes, 2);
    QCOMPARE(acknowledge->text(), SaveFailure);
    QVERIFY(library.modified());
    QCOMPARE(library.filePath(), QString());
    QVERIFY(QDir(m_dir->path()).entryList(QDir::Files | QDir::Hidden).isEmpty());
}

void tst_LibraryFile::fixedLibraryFileIsLeftAsItIs()
{
    // A library file whose stored type makes it fixed: saving it succeeds, writes nothing
    // and must not empty the file.
    const QString file = path(QStringLiteral("fixed.bli"));
    QVERIFY(savedLibrary(file));
    {
        FileView view;
        view.open(file);
        QVERIFY(view.isOpen());
        std::unique_ptr<FileStorageView> root(view.createRootView());
        QByteArray info = root->readStream(QStringLiteral("Info.ini"));
        QVERIFY(info.contains("Type=256\r\n"));
        root->writeStream(QStringLiteral("Info.ini"), info.replace("Type=256", "Type=3"));
        root.reset();
        view.close();
        QVERIFY(!view.hasError());
    }
    const QByteArray before = fileContents(file);

    BlockLibraryFile library;
    QVERIFY(library.load(file));
    QCOMPARE(library.type(), 3u);
    QVERIFY(!library.modified());
    QSignalSpy modified(&library, &BlockLibraryContainer::modifiedChanged);
    QVERIFY(library.save(file));
    QCOMPARE(modified.count(), 0);
    QVERIFY(fileContents(file) == before);
    BlockLibraryFile again;
    QVERIFY(again.load(file));
    QCOMPARE(again.library()->blockIdentifiers(), QList<QString>{QStringLiteral("StandardBlock_1")});
}

void tst_LibraryFile::saveDialogAnsweredWithPath()
{
    BlockLibraryFile library;
    addBlock(library.library(), Block::createBlock(QStringLiteral("StandardBlock_1")), 1, 1);
    const QString file = path(QStringLiteral("chosen.bli"));
    auto choose = DialogAnswerer::chooseFile(file);

    QVERIFY(library.save(QString()));
    QVERIFY(choose->answered());
    QCOMPARE(library.filePath(), file);
    QVERIFY(!library.modified());
    QCOMPARE(library.name().text(1), QStringLiteral("chosen.bli"));
    BlockLibraryFile loaded;
    QVERIFY(loaded.load(file));
    QCOMPARE(loaded.library()->blockIdentifiers(), QList<QString>{QStringLiteral("StandardBlock_1")});
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

    // An answerer for a dialog that must not come presses Abort, which saves nothing.
    auto answerer = answer(reply < 0 ? Abort : Answer(reply));
    library->saveRequested();
    QCOMPARE(answerer->answered(), reply >= 0);
    if (reply >= 0)
        QCOMPARE(answerer->title(), CloseTitle);
    QCOMPARE(library->modified(), modified && !saves);
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

    QTest::newRow("immutable-file") << "immutable-file" << false << QStringLiteral("\"%1\" ist schreibgeschützt.");
    QTest::newRow("immutable-directory")
            << "immutable-directory" << true
            << QStringLiteral("Die Datei „%1“ kann nicht geschrieben werden (*). Die Änderungen wurden nicht gespeichert.");
    QTest::newRow("locked-by-another-program")
            << "locked" << true
            << QStringLiteral("Die Datei „%1“ ist von einem anderen Programm gesperrt. Die Änderungen wurden nicht gespeichert.");
    QTest::newRow("below-a-file") << "below-a-file" << false
                                  << QStringLiteral("Das Verzeichnis für „%1“ existiert nicht.");
    QTest::newRow("proc-file-system")
            << "proc" << true
            << QStringLiteral("Die Datei „%1“ kann nicht geschrieben werden (*). Die Änderungen wurden nicht gespeichert.");
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
    QVERIFY(library->modified());

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
