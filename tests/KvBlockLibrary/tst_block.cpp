#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockInstantiationData.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/CrcFileStorageView.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>
#include <KvSystem/System.h>
#include <LxFileSystem/FileStorageView.h>

#include "DialogAnswerer.h"
#include "ScratchStorage.h"
#include "StorageTreeText.h"

#include <QtCore/QPointer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <memory>

#include <sys/resource.h>
#include <zlib.h>

namespace {

const QByteArray Bom("\xEF\xBB\xBF");

} // namespace

class tst_Block : public QObject
{
    Q_OBJECT

private slots:
    void propertySignals();
    void createDefinitionNumbers();
    void deleteDefinition();
    void createDefinitionClone_data();
    void createDefinitionClone();
    void cloneFrom();
    void instancesAndDeletion();

    void infoBytes_data();
    void infoBytes();
    void loadInfo_data();
    void loadInfo();
    void invisibleFamiliesAreLostOnSave();
    void loadVersionStorages();

    void contentsRoundTrip();
    void loadContentsRejects_data();
    void loadContentsRejects();
    void loadContentsBounded();
};

void tst_Block::propertySignals()
{
    std::unique_ptr<Block> block(Block::createBlock(QStringLiteral("RootBlock")));
    QSignalSpy changed(block.get(), &Block::changed);
    QSignalSpy group(block.get(), &Block::groupChanged);

    // Names are no change of the block; the group signal fires on every call, also for the same path.
    block->setShortName(QStringLiteral("R"));
    block->setName(Text(2, QStringLiteral("Root")));
    block->setGroupPath(QStringLiteral("A/B"));
    block->setGroupPath(QStringLiteral("A/B"));
    QCOMPARE(group.count(), 2);
    QCOMPARE(changed.count(), 0);
}

void tst_Block::createDefinitionNumbers()
{
    std::unique_ptr<Block> block(Block::createUserBlock());
    QSignalSpy changed(block.get(), &Block::changed);
    QCOMPARE(block->createDefinition()->version(), 0u);
    QCOMPARE(block->createDefinition(3)->version(), 3u);
    BlockDefinition *next = block->createDefinition();
    QCOMPARE(next->version(), 4u);
    QCOMPARE(next->parent(), block.get());
    QCOMPARE(block->versions(), (QList<unsigned int>{0, 3, 4}));
    QVERIFY(!block->blockDefinition(1));
    QCOMPARE(changed.count(), 3);
    next->setDescriptionText("x");
    QCOMPARE(changed.count(), 4);
}

void tst_Block::deleteDefinition()
{
    std::unique_ptr<Block> block(Block::createUserBlock());
    QPointer<BlockDefinition> first = block->createDefinition();
    block->createDefinition();
    QSignalSpy changed(block.get(), &Block::changed);

    block->deleteDefinition(7);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(block->versions(), (QList<unsigned int>{0, 1}));

    // A populated version goes with everything it owns; the sanitizer run reports leaks.
    first->createPin(1)->setShortName(QStringLiteral("IN"));
    QPointer<BlockPin> pin = first->pin(1);
    first->setGlobalTemplate(true);
    first->setLargeListImage(QStringLiteral("png"), QByteArray(100, 'x'));
    first->attachParameterGeneralDefinition(1, new SimpleParameterDefinition);
    first->instantiationData()->setGeneralKsbBinary(1, "binary");
    std::unique_ptr<Block> local(Block::createUserBlock());
    local->createDefinition();
    QPointer<Block> localCopy = first->cloneLocalBlock(local.get());
    QVERIFY(!localCopy.isNull());
    changed.clear();

    block->deleteDefinition(0);
    QCOMPARE(changed.count(), 1);
    QVERIFY(first.isNull());
    QVERIFY(pin.isNull());
    QVERIFY(localCopy.isNull());
    QCOMPARE(block->versions(), QList<unsigned int>{1});

    // clear() deletes the versions silently, and numbering starts again at 0.
    QPointer<BlockDefinition> last = block->blockDefinition(1);
    changed.clear();
    block->clear();
    QCOMPARE(changed.count(), 0);
    QVERIFY(last.isNull());
    QCOMPARE(block->createDefinition()->version(), 0u);
}

void tst_Block::createDefinitionClone_data()
{
    QTest::addColumn<uint>("source");
    QTest::addColumn<int>("answer"); // 0: no dialog expected
    QTest::addColumn<bool>("created");

    QTest::newRow("highest-asks-nothing") << 3u << 0 << true;
    QTest::newRow("lower-ok") << 0u << int(QDialogButtonBox::Ok) << true;
    QTest::newRow("lower-cancel") << 0u << int(QDialogButtonBox::Cancel) << false;
    QTest::newRow("missing-ok") << 1u << int(QDialogButtonBox::Ok) << false;
}

void tst_Block::createDefinitionClone()
{
    QFETCH(uint, source);
    QFETCH(int, answer);
    QFETCH(bool, created);

    std::unique_ptr<Block> block(Block::createUserBlock());
    block->createDefinition(0)->setDescriptionText("version zero");
    block->createDefinition(3)->setDescriptionText("version three");
    QSignalSpy changed(block.get(), &Block::changed);

    // An answerer runs in every row, so that a box that must not come fails the row instead
    // of blocking it.
    QWidget mainWindow;
    System::instance()->setMainWindow(&mainWindow);
    auto answerer = DialogAnswerer::press(answer ? QDialogButtonBox::StandardButton(answer) : QDialogButtonBox::Ok);
    BlockDefinition *copy = block->createDefinitionClone(source);
    System::instance()->setMainWindow(nullptr);

    QCOMPARE(answerer->answered(), answer != 0);
    if (answer) {
        QCOMPARE(answerer->title(), QStringLiteral("Bausteinversion erstellen"));
        QCOMPARE(answerer->text(), QStringLiteral("Es wird nicht die höchste Version in eine neue Version dupliziert."));
        QCOMPARE(answerer->icon(), QMessageBox::Warning);
        QCOMPARE(answerer->buttons(), QMessageBox::StandardButtons(QMessageBox::Ok | QMessageBox::Cancel));
        QCOMPARE(answerer->defaultButton(), QMessageBox::NoButton);
        QCOMPARE(answerer->parentWidget(), &mainWindow);
    }
    QCOMPARE(copy != nullptr, created);
    if (created) {
        QCOMPARE(copy->version(), 4u);
        QCOMPARE(copy->descriptionText(), block->blockDefinition(source)->descriptionText());
        QCOMPARE(block->versions(), (QList<unsigned int>{0, 3, 4}));
        // One for the new version, one for copying the source into it.
        QCOMPARE(changed.count(), 2);
    } else {
        QCOMPARE(block->versions(), (QList<unsigned int>{0, 3}));
        QCOMPARE(changed.count(), 0);
    }
    QVERIFY(!QApplication::activeModalWidget());
}

void tst_Block::cloneFrom()
{
    std::unique_ptr<Block> source(Block::createUserBlock());
    Text name(1, QStringLiteral("Regler"));
    name.setText(2, QStringLiteral("Controller"));
    source->setName(name);
    source->setShortName(QStringLiteral("PID"));
    source->setGroupPath(QStringLiteral("Control"));
    source->createDefinition(0)->setDescriptionText("zero");
    source->createDefinition(2)->setDescriptionText("two");

    std::unique_ptr<Block> target(Block::createBlock(QStringLiteral("StandardBlock_3")));
    target->setGroupPath(QStringLiteral("Mine"));
    target->createDefinition(5);
    QSignalSpy changed(target.get(), &Block::changed);
    target->cloneFrom(source.get());

    QCOMPARE(changed.count(), 2);
    QCOMPARE(target->versions(), (QList<unsigned int>{0, 2}));
    QCOMPARE(target->blockDefinition(2)->version(), 2u);
    QCOMPARE(target->name(), name);
    QCOMPARE(target->shortName(), QStringLiteral("PID"));
    QCOMPARE(target->identifier(), QStringLiteral("StandardBlock_3"));
    QCOMPARE(target->groupPath(), QStringLiteral("Mine"));
    // The copies are independent of the source.
    source->blockDefinition(2)->setDescriptionText("changed");
    QCOMPARE(target->blockDefinition(2)->descriptionText(), QByteArray("two"));

    // A user block clone gets a new identifier and no group path.
    std::unique_ptr<Block> copy(Block::cloneUserBlock(source.get()));
    QVERIFY(copy->identifier() != source->identifier());
    QVERIFY(copy->isUserBlock());
    QCOMPARE(copy->groupPath(), QString());
    QCOMPARE(copy->shortName(), QStringLiteral("PID"));
    QCOMPARE(copy->versions(), (QList<unsigned int>{0, 2}));
}

void tst_Block::instancesAndDeletion()
{
    std::unique_ptr<Block> block(Block::createUserBlock());
    BlockDefinition *a = block->createDefinition();
    BlockDefinition *b = block->createDefinition();
    QObject user1, user2;
    a->registerInstance(&user1);
    a->registerInstance(&user1);
    b->registerInstance(&user1);
    b->registerInstance(&user2);
    QCOMPARE(block->instanceCount(), 3u);
    b->unregisterInstance(&user2);
    QCOMPARE(block->instanceCount(), 2u);

    std::unique_ptr<Block> standard(Block::createBlock(QStringLiteral("StandardBlock_1")));
    QVERIFY(standard->allowDelete());
    standard->createDefinition();
    QVERIFY(!standard->allowDelete());
}

void tst_Block::infoBytes_data()
{
    QTest::addColumn<QString>("shortName");
    QTest::addColumn<QString>("groupPath");
    QTest::addColumn<Text>("name");
    QTest::addColumn<QByteArray>("expected");

    Text bilingual(1, QStringLiteral("Größe"));
    bilingual.setText(2, QStringLiteral("Size"));
    QTest::newRow("umlauts-two-languages")
        << QStringLiteral("Pö") << QStringLiteral("Regler/Öl") << bilingual
        << Bom + "\r\n;type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nShortName=P\xC3\xB6\r\n"
                 "GroupPath=Regler/\xC3\x96l\r\n\r\n[Names]\r\n1=Gr\xC3\xB6\xC3\x9F" "e\r\n2=Size\r\n";
    // A new block's name is one empty text in language 1.
    QTest::newRow("defaults") << QString() << QString() << Text(1, QString())
                                  << Bom + "\r\n;type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nShortName=\r\n"
                                           "GroupPath=\r\n\r\n[Names]\r\n1=\r\n";
    QTest::newRow("no-languages") << QStringLiteral("S") << QStringLiteral("G") << Text()
                                  << Bom + "\r\n;type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nShortName=S\r\n"
                                           "GroupPath=G\r\n\r\n[Names]\r\n";
}

void tst_Block::infoBytes()
{
    QFETCH(QString, shortName);
    QFETCH(QString, groupPath);
    QFETCH(Text, name);
    QFETCH(QByteArray, expected);

    std::unique_ptr<Block> block(Block::createBlock(QStringLiteral("SystemBlock_1")));
    block->setShortName(shortName);
    block->setGroupPath(groupPath);
    if (name != Text(1, QString()))
        block->setName(name);
    CrcFileStorageView storage(nullptr);
    block->save(&storage);
    QCOMPARE(storage.readStream(QStringLiteral("Info.ini")), expected);

    // And back.
    std::unique_ptr<Block> loaded(Block::createBlock(QStringLiteral("SystemBlock_1")));
    QVERIFY(loaded->load(&storage));
    QCOMPARE(loaded->shortName(), shortName);
    QCOMPARE(loaded->groupPath(), groupPath);
    QCOMPARE(loaded->name().textLanguages(), name.textLanguages());
    QCOMPARE(loaded->name(), name);
}

void tst_Block::loadInfo_data()
{
    QTest::addColumn<QString>("streamName");
    QTest::addColumn<QByteArray>("info");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QString>("expected"); // short name | group path | names | groupChanged() count

    const QString kept = QStringLiteral("keep|G|2=N|0");
    // No byte-order mark: the block reader takes UTF-8 all the same.
    QTest::newRow("utf8-without-bom") << "Info.ini"
                                      << QByteArray(";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nGroupPath=\r\n"
                                                    "ShortName=\xC3\xA4\r\n\r\n[Names]\r\nx=skipped\r\n3=Drei\r\n")
                                      << true << QStringLiteral("ä||3=Drei|1");
    QTest::newRow("absent-keys-keep-fields") << "Info.ini" << QByteArray(";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\n")
                                             << true << kept;
    QTest::newRow("missing-stream") << "info.ini" << QByteArray(";type=\"block\" version=\"0\"\r\n") << false << kept;
    QTest::newRow("library-kind") << "Info.ini"
                                  << QByteArray(";type=\"blocklibrary\" version=\"0\"\r\n\r\n[Info]\r\nShortName=X\r\n")
                                  << false << kept;
    QTest::newRow("version-one") << "Info.ini" << QByteArray(";type=\"block\" version=\"1\"\r\n\r\n[Info]\r\nShortName=X\r\n")
                                 << false << kept;
    QTest::newRow("no-type-line") << "Info.ini" << QByteArray("[Info]\r\nShortName=X\r\n") << false << kept;
    QTest::newRow("empty") << "Info.ini" << QByteArray() << false << kept;
}

void tst_Block::loadInfo()
{
    QFETCH(QString, streamName);
    QFETCH(QByteArray, info);
    QFETCH(bool, accepted);

    // Version storages are found by their names, which needs a real storage file.
    ScratchStorage storage;
    storage.root()->writeStream(streamName, info);
    storage.root()->storage(QStringLiteral("V0"))->writeStream(QStringLiteral("Info.ini"), ";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\n");
    std::unique_ptr<Block> block(Block::createUserBlock());
    block->setShortName(QStringLiteral("keep"));
    block->setGroupPath(QStringLiteral("G"));
    block->setName(Text(2, QStringLiteral("N")));
    QSignalSpy changed(block.get(), &Block::changed);
    QSignalSpy group(block.get(), &Block::groupChanged);
    QCOMPARE(block->load(storage.root()), accepted);

    QStringList names;
    for (int language : block->name().textLanguages())
        names << QString::number(language) + QLatin1Char('=') + block->name().text(language);
    QTEST(QStringList({block->shortName(), block->groupPath(), names.join(QLatin1Char(',')), QString::number(group.count())})
                  .join(QLatin1Char('|')),
          "expected");
    // A refused block reads no version and stays silent; an accepted one creates and loads V0.
    QCOMPARE(block->versions(), accepted ? QList<unsigned int>{0} : QList<unsigned int>());
    QCOMPARE(changed.count(), accepted ? 2 : 0);
}

void tst_Block::invisibleFamiliesAreLostOnSave()
{
    CrcFileStorageView storage(nullptr);
    storage.writeStream(QStringLiteral("Info.ini"), ";type=\"block\" version=\"0\"\r\n\r\n[Info]\r\nInvisibleForFamilies=3,5,3,x,,4294967296,7\r\n");
    std::unique_ptr<Block> block(Block::createUserBlock());
    QVERIFY(block->load(&storage));
    QVERIFY(!block->visibleForFamily(3));
    QVERIFY(!block->visibleForFamily(5));
    QVERIFY(!block->visibleForFamily(7));
    QVERIFY(block->visibleForFamily(4));
    QVERIFY(block->visibleForFamily(0));

    CrcFileStorageView saved(nullptr);
    block->save(&saved);
    QVERIFY(!saved.readStream(QStringLiteral("Info.ini")).contains("InvisibleForFamilies"));
    std::unique_ptr<Block> reloaded(Block::createUserBlock());
    QVERIFY(reloaded->load(&saved));
    QVERIFY(reloaded->visibleForFamily(5));
}

void tst_Block::loadVersionStorages()
{
    ScratchStorage scratch;
    FileStorageView &storage = *scratch.root();
    storage.writeStream(QStringLiteral("Info.ini"), ";type=\"block\" version=\"0\"\r\n");
    const QStringList names{QStringLiteral("V2"), QStringLiteral("V10"), QStringLiteral("Extra"), QStringLiteral("V"),
                            QStringLiteral("v2"), QStringLiteral("V-1"), QStringLiteral("V3x"),
                            QStringLiteral("V99999999999")};
    for (const QString &name : names)
        storage.storage(name)->writeStream(QStringLiteral("Info.ini"), ";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\nLevelVisible=4\r\n");

    std::unique_ptr<Block> block(Block::createUserBlock());
    QSignalSpy changed(block.get(), &Block::changed);
    QVERIFY(block->load(&storage));
    QCOMPARE(block->versions(), (QList<unsigned int>{2, 10}));
    QCOMPARE(block->blockDefinition(10)->accessLevelRead(), 4u);
    QCOMPARE(block->blockDefinition(10)->accessLevelWrite(), 6u);
    // Each of the two versions: one for its creation, one for its load.
    QCOMPARE(changed.count(), 4);

    // Saving writes "V<n>" storages and leaves storages of other names alone.
    CrcFileStorageView saved(nullptr);
    saved.storage(QStringLiteral("V7"))->writeStream(QStringLiteral("old"), "x");
    block->save(&saved);
    QStringList written = saved.storageNames();
    written.sort();
    QCOMPARE(written, (QStringList{QStringLiteral("V10"), QStringLiteral("V2"), QStringLiteral("V7")}));
}

void tst_Block::contentsRoundTrip()
{
    std::unique_ptr<Block> block(Block::createUserBlock());
    Text name(1, QStringLiteral("Rampe"));
    name.setText(2, QStringLiteral("Ramp"));
    block->setName(name);
    block->setShortName(QStringLiteral("RMP"));
    block->setGroupPath(QStringLiteral("Bewegung/Rampen"));
    block->createDefinition(0)->setDescriptionText("<p>eins</p>");
    BlockDefinition *second = block->createDefinition(4);
    second->setAccessLevelRead(3);
    second->setLargeListImage(QStringLiteral("png"), "image");

    const QByteArray contents = block->saveContents();
    // The text is the lower-case hexadecimal of the level-9 compressed byte form of what
    // save() writes into a storage file.
    ScratchStorage scratch;
    block->save(scratch.root());
    QCOMPARE(contents, qCompress(scratch.root()->toByteArray(), 9).toHex());

    // The copy writes the same storage tree as the original.
    std::unique_ptr<Block> copy(Block::createBlock(block->identifier()));
    QVERIFY(copy->loadContents(contents));
    QCOMPARE(copy->versions(), (QList<unsigned int>{0, 4}));
    ScratchStorage copied;
    copy->save(copied.root());
    QCOMPARE(StorageTreeText::lines(copied.root()), StorageTreeText::lines(scratch.root()));
}

void tst_Block::loadContentsRejects_data()
{
    QTest::addColumn<QByteArray>("contents");

    std::unique_ptr<Block> block(Block::createUserBlock());
    block->createDefinition();
    const QByteArray valid = block->saveContents();
    const QByteArray compressed = QByteArray::fromHex(valid);

    QTest::newRow("empty") << QByteArray();
    QTest::newRow("not-hex") << QByteArray("zz") + valid.mid(2);
    QTest::newRow("odd-length") << valid.left(valid.size() - 1);
    QTest::newRow("truncated") << valid.left(valid.size() / 2);
    QTest::newRow("not-compressed") << QByteArray("some plain text").toHex();
    QTest::newRow("compressed-garbage") << qCompress(QByteArray(1000, 'x')).toHex();
    QTest::newRow("bomb-header-2g") << (QByteArray::fromHex("7fffffff") + compressed.mid(4)).toHex();
    QTest::newRow("real-bomb") << qCompress(QByteArray(64 * 1024 * 1024, '\0'), 9).toHex();
    QTest::newRow("blanks") << QByteArray(valid).insert(10, "  ");
    // The size in front of the stream is only a claim: streams that inflate to more or to
    // less than they claim are refused.
    const QByteArray stream = compressed.mid(4);
    const quint32 claimed = (quint32(quint8(compressed[0])) << 24) | (quint32(quint8(compressed[1])) << 16)
        | (quint32(quint8(compressed[2])) << 8) | quint32(quint8(compressed[3]));
    auto withClaim = [&stream](quint32 size) {
        QByteArray header(4, '\0');
        header[0] = char(size >> 24);
        header[1] = char(size >> 16);
        header[2] = char(size >> 8);
        header[3] = char(size);
        return (header + stream).toHex();
    };
    QTest::newRow("claims-less") << withClaim(claimed - 1);
    QTest::newRow("claims-more") << withClaim(claimed + 1);
    QTest::newRow("claims-nothing") << withClaim(0);
}

void tst_Block::loadContentsRejects()
{
    QFETCH(QByteArray, contents);
    std::unique_ptr<Block> block(Block::createUserBlock());
    block->setShortName(QStringLiteral("kept"));
    QVERIFY(!block->loadContents(contents));
    QCOMPARE(block->shortName(), QStringLiteral("kept"));
    QVERIFY(block->versions().isEmpty());
}

// A deflate stream of size zero bytes behind a qCompress header that claims only 16 bytes:
// what a hostile contents text looks like that hopes the reader trusts the stream.
static QByteArray lyingBomb(qint64 size)
{
    z_stream stream = {};
    if (deflateInit(&stream, 9) != Z_OK)
        return QByteArray();
    const QByteArray zeros(1024 * 1024, '\0');
    QByteArray out = QByteArray::fromHex("00000010");
    QByteArray chunk(64 * 1024, Qt::Uninitialized);
    for (qint64 done = 0; done < size || stream.avail_in;) {
        if (!stream.avail_in && done < size) {
            stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(zeros.constData()));
            stream.avail_in = uInt(zeros.size());
            done += zeros.size();
        }
        stream.next_out = reinterpret_cast<Bytef *>(chunk.data());
        stream.avail_out = uInt(chunk.size());
        deflate(&stream, Z_NO_FLUSH);
        out.append(chunk.constData(), chunk.size() - qsizetype(stream.avail_out));
    }
    int result = Z_OK;
    while (result != Z_STREAM_END) {
        stream.next_out = reinterpret_cast<Bytef *>(chunk.data());
        stream.avail_out = uInt(chunk.size());
        result = deflate(&stream, Z_FINISH);
        out.append(chunk.constData(), chunk.size() - qsizetype(stream.avail_out));
    }
    deflateEnd(&stream);
    return out.toHex();
}

static long peakResidentKiB()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

void tst_Block::loadContentsBounded()
{
    // 1 MB of text that inflates to 1 GiB: refused without the reader growing anywhere near it.
    const QByteArray bomb = lyingBomb(qint64(1) << 30);
    QVERIFY(bomb.size() < 4 * 1024 * 1024);
    const long before = peakResidentKiB();
    std::unique_ptr<Block> block(Block::createUserBlock());
    QVERIFY(!block->loadContents(bomb));
    QVERIFY2(peakResidentKiB() - before < 64 * 1024,
             qPrintable(QStringLiteral("peak grew by %1 KiB").arg(peakResidentKiB() - before)));
}

QTEST_MAIN(tst_Block)
#include "tst_block.moc"
