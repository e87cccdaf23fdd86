#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockInstantiationData.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>
#include <KvSystem/System.h>
#include <LxFileSystem/FileStorageView.h>

#include "DialogAnswerer.h"
#include "ScratchStorage.h"
#include "StoredForm.h"

#include <QtCore/QPointer>
#include <QtCore/QtEndian>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <functional>
#include <memory>

#include <sys/resource.h>
#include <zlib.h>

namespace {

const QByteArray BlockHead(";type=\"block\" version=\"0\"\r\n\r\n");
using Edit = std::function<void(Block *)>;

QByteArray bigEndian(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

// A contents text in qCompress's form: the claimed size, four bytes big-endian, then the stream.
QByteArray withClaim(quint32 size, const QByteArray &stream) { return (bigEndian(size) + stream).toHex(); }

// A zlib stream of mebibytes MiB of zeros, made in milliseconds: one deflated mebibyte,
// flushed so that it stands alone, repeated, then the end of the stream and its checksum.
QByteArray zeroStream(int mebibytes)
{
    const QByteArray zeros(1 << 20, '\0');
    QByteArray out(1 << 20, Qt::Uninitialized);
    z_stream stream = {};
    deflateInit(&stream, 9);
    const auto run = [&](const QByteArray &in, int flush) {
        stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(in.constData()));
        stream.avail_in = uInt(in.size());
        stream.next_out = reinterpret_cast<Bytef *>(out.data());
        stream.avail_out = uInt(out.size());
        deflate(&stream, flush);
        return out.left(out.size() - qsizetype(stream.avail_out));
    };
    QByteArray result = run(zeros, Z_FULL_FLUSH); // with the zlib header
    result += run(zeros, Z_FULL_FLUSH).repeated(mebibytes - 1);
    result += run(QByteArray(), Z_FINISH).chopped(4);
    deflateEnd(&stream);
    uLong adler = adler32(0, nullptr, 0);
    for (int i = 0; i < mebibytes; ++i)
        adler = adler32(adler, reinterpret_cast<const Bytef *>(zeros.constData()), uInt(zeros.size()));
    return result + bigEndian(quint32(adler));
}

} // namespace

Q_DECLARE_METATYPE(Edit)

class tst_Block : public QObject
{
    Q_OBJECT

private slots:
    void edits_data()
    {
        QTest::addColumn<Edit>("edit");
        QTest::addColumn<int>("changed");
        QTest::addColumn<int>("groupChanged");
        QTest::addColumn<QList<uint>>("versions");
        // Every row starts from versions 0 and 3.
        QTest::newRow("names-are-no-change") << Edit([](Block *b) { b->setShortName("R"), b->setName(Text(2, "R")); }) << 0 << 0 << QList<uint>{0, 3};
        QTest::newRow("same-group-path-twice") << Edit([](Block *b) { b->setGroupPath("A"), b->setGroupPath("A"); }) << 0 << 2 << QList<uint>{0, 3};
        QTest::newRow("delete-missing") << Edit([](Block *b) { b->deleteDefinition(7); }) << 1 << 0 << QList<uint>{0, 3};
        // One signal for the deletion, four for the owned parts; the sanitizer run reports leaks.
        QTest::newRow("delete-takes-owned-parts") << Edit([](Block *b) {
            QPointer<BlockDefinition> version = b->blockDefinition(0);
            QPointer<BlockPin> pin = version->createPin(1);
            version->setGlobalTemplate(true);
            version->attachParameterGeneralDefinition(1, new SimpleParameterDefinition);
            version->instantiationData()->setGeneralKsbBinary(1, "binary");
            std::unique_ptr<Block> local(Block::createUserBlock());
            QPointer<Block> localCopy = version->cloneLocalBlock(local.get());
            b->deleteDefinition(0);
            QVERIFY(version.isNull() && pin.isNull() && localCopy.isNull());
        }) << 5 << 0 << QList<uint>{3};
        QTest::newRow("clear-silent-numbering-restarts")
            << Edit([](Block *b) { b->clear(); QCOMPARE(b->createDefinition()->version(), 0u); }) << 1 << 0 << QList<uint>{0};
        // One signal for each version copied; identifier and group path stay the block's own.
        QTest::newRow("clone-from") << Edit([](Block *b) {
            std::unique_ptr<Block> source(Block::createUserBlock());
            source->setShortName(QStringLiteral("PID")), source->setName(Text(2, QStringLiteral("Controller")));
            source->setGroupPath(QStringLiteral("Control")), source->createDefinition(2)->setDescriptionText("two"), source->createDefinition(5);
            const QString identifier = b->identifier();
            b->cloneFrom(source.get());
            QVERIFY(b->identifier() == identifier && b->groupPath().isEmpty());
            b->setGroupPath(source->groupPath());
            const QStringList copied = StoredForm::of(b);
            QCOMPARE(copied, StoredForm::of(source.get()));
            source->blockDefinition(2)->setDescriptionText("changed");
            QCOMPARE(StoredForm::of(b), copied);
        }) << 2 << 1 << QList<uint>{2, 5};
    }
    void edits()
    {
        QFETCH(Edit, edit);
        std::unique_ptr<Block> block(Block::createUserBlock());
        block->createDefinition(0);
        block->createDefinition(3);
        QSignalSpy changed(block.get(), &Block::changed);
        QSignalSpy group(block.get(), &Block::groupChanged);
        edit(block.get());
        QTEST(int(changed.count()), "changed");
        QTEST(int(group.count()), "groupChanged");
        QTEST(block->versions(), "versions");
    }

    void createDefinitionClone_data()
    {
        QTest::addColumn<uint>("highest"); // the versions are 0 and this one
        QTest::addColumn<uint>("source");
        QTest::addColumn<int>("answer"); // 0: no dialog expected
        QTest::addColumn<bool>("created");
        const uint last = std::numeric_limits<uint>::max();
        QTest::newRow("highest-asks-nothing") << 3u << 3u << 0 << true;
        QTest::newRow("lower-ok") << 3u << 0u << int(QDialogButtonBox::Ok) << true;
        QTest::newRow("lower-cancel") << 3u << 0u << int(QDialogButtonBox::Cancel) << false;
        QTest::newRow("missing-ok") << 3u << 1u << int(QDialogButtonBox::Ok) << false;
        // No number is left above the highest: a new version would wrap to 0 and replace the first.
        QTest::newRow("no-number-left-highest") << last << last << 0 << false;
        QTest::newRow("no-number-left-lower-asks-nothing") << last << 0u << 0 << false;
    }
    void createDefinitionClone()
    {
        QFETCH(uint, highest);
        QFETCH(uint, source);
        QFETCH(int, answer);
        QFETCH(bool, created);
        std::unique_ptr<Block> block(Block::createUserBlock());
        block->createDefinition(0)->setDescriptionText("version zero");
        block->createDefinition(highest)->setDescriptionText("the highest version");
        const QStringList before = StoredForm::of(block.get());
        QSignalSpy changed(block.get(), &Block::changed);
        // An answerer in every row: a box that must not come fails the row instead of blocking it.
        QWidget mainWindow;
        System::instance()->setMainWindow(&mainWindow);
        auto answerer = DialogAnswerer::press(answer ? QDialogButtonBox::StandardButton(answer) : QDialogButtonBox::Ok);
        BlockDefinition *copy = block->createDefinitionClone(source);
        if (highest == std::numeric_limits<uint>::max())
            QVERIFY(!block->createDefinition());
        System::instance()->setMainWindow(nullptr);
        QCOMPARE(answerer->answered(), answer != 0);
        if (answer) {
            QCOMPARE(answerer->title() + QLatin1Char('|') + answerer->text(),
                     QStringLiteral("Bausteinversion erstellen|Es wird nicht die höchste Version in eine neue Version dupliziert."));
            QVERIFY(answerer->icon() == QMessageBox::Warning && answerer->defaultButton() == QMessageBox::NoButton
                    && answerer->buttons() == (QMessageBox::Ok | QMessageBox::Cancel) && answerer->parentWidget() == &mainWindow);
        }
        // One signal for the new version, one for copying the source into it.
        QCOMPARE(changed.count(), created ? 2 : 0);
        QCOMPARE(block->versions(), created ? QList<uint>({0, highest, highest + 1}) : QList<uint>({0, highest}));
        QCOMPARE(copy ? copy->descriptionText() : QByteArray(), created ? block->blockDefinition(source)->descriptionText() : QByteArray());
        if (!created)
            QCOMPARE(StoredForm::of(block.get()), before);
        QVERIFY(!QApplication::activeModalWidget());
    }

    void load_data()
    {
        QTest::addColumn<QByteArray>("info");
        QTest::addColumn<QByteArray>("written"); // after the load, on a block named "keep" in group "G", "2=N"
        QTest::addColumn<int>("groupChanged");
        const QByteArray head = "\xEF\xBB\xBF\r\n" + BlockHead + "[Info]\r\n";
        const QByteArray umlauts = "ShortName=P\xC3\xB6\r\nGroupPath=Regler/\xC3\x96l\r\n\r\n[Names]\r\n1=Gr\xC3\xB6\xC3\x9F" "e\r\n2=Size\r\n";
        QTest::newRow("umlauts-two-languages") << head + umlauts << head + umlauts << 1;
        // No byte-order mark: the block reader takes UTF-8 all the same.
        QTest::newRow("utf8-without-bom") << BlockHead + "[Info]\r\nGroupPath=\r\nShortName=\xC3\xA4\r\n\r\n[Names]\r\nx=no\r\n"
                                          << head + "ShortName=\xC3\xA4\r\nGroupPath=\r\n\r\n[Names]\r\n" << 1;
        // A family number above the unsigned range is skipped, not wrapped to 1; families are not written.
        QTest::newRow("absent-keys-keep-fields-families-dropped") << BlockHead + "[Info]\r\nInvisibleForFamilies=3,5,3,x,,4294967297,7\r\n"
                                                                  << head + "ShortName=keep\r\nGroupPath=G\r\n\r\n[Names]\r\n2=N\r\n" << 0;
        QTest::newRow("library-kind-refused") << QByteArray(";type=\"blocklibrary\" version=\"0\"\r\n\r\n[Info]\r\nShortName=X\r\n")
                                              << QByteArray() << 0;
    }
    void load()
    {
        QFETCH(QByteArray, info);
        QFETCH(QByteArray, written);
        ScratchStorage storage;
        storage.root()->writeStream(QStringLiteral("Info.ini"), info);
        for (const char *name : {"V2", "V02", "V10", "Extra", "V", "v3", "V-1", "V3x", "V99999999999"})
            storage.root()->storage(QLatin1String(name))->writeStream(QStringLiteral("Info.ini"),
                ";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\nLevelVisible=" + QByteArray::number(qstrlen(name)) + "\r\n");
        std::unique_ptr<Block> block(Block::createUserBlock());
        block->setShortName(QStringLiteral("keep")), block->setGroupPath(QStringLiteral("G")), block->setName(Text(2, QStringLiteral("N")));
        QSignalSpy changed(block.get(), &Block::changed);
        QSignalSpy group(block.get(), &Block::groupChanged);
        // Refused: no version, no signal. Accepted: V02 is version 2, V2 is skipped; each version signals creation and load.
        QCOMPARE(block->load(storage.root()), !written.isEmpty());
        QTEST(int(group.count()), "groupChanged");
        QCOMPARE(block->versions() << uint(changed.count()), written.isEmpty() ? QList<uint>({0}) : QList<uint>({2, 10, 4}));
        QCOMPARE(block->blockDefinition(2) ? block->blockDefinition(2)->accessLevelRead() : 0u, written.isEmpty() ? 0u : 3u);
        QList<bool> visible;
        for (unsigned int family : {0u, 1u, 3u, 4u, 5u, 7u})
            visible << block->visibleForFamily(family);
        QCOMPARE(visible, info.contains("Families") ? QList<bool>({true, true, false, true, false, false}) : QList<bool>(6, true));
        // Saving writes "V<n>" storages and leaves storages of other names alone.
        ScratchStorage saved;
        saved.root()->storage(QStringLiteral("V7"))->writeStream(QStringLiteral("old"), "x");
        block->save(saved.root());
        QCOMPARE(saved.root()->storageNames(), written.isEmpty() ? QStringList({QStringLiteral("V7")})
                                                                 : QStringList({QStringLiteral("V10"), QStringLiteral("V2"), QStringLiteral("V7")}));
        if (!written.isEmpty())
            QCOMPARE(saved.root()->readStream(QStringLiteral("Info.ini")), written);
    }

    void contentsRoundTrip()
    {
        std::unique_ptr<Block> block(Block::createUserBlock());
        block->setShortName(QStringLiteral("X\nY")), block->setName(Text(2, QStringLiteral("a\r\n[Info]\r\nShortName=EVIL")));
        block->createDefinition(0)->setDescriptionText("<p>eins</p>");
        block->blockDefinition(0)->createPin(1)->setShortName(QStringLiteral("P\rQ"));
        block->createDefinition(4)->setLargeListImage(QStringLiteral("png"), "image");
        // The lower-case hexadecimal of the level-9 compressed form of what save() writes.
        const QByteArray contents = block->saveContents();
        ScratchStorage scratch;
        block->save(scratch.root());
        QCOMPARE(contents, qCompress(scratch.root()->toByteArray(), 9).toHex());
        std::unique_ptr<Block> copy(Block::createBlock(block->identifier()));
        QVERIFY(copy->loadContents(contents));
        // Each line break (CR LF, CR or LF) is written as one space: a name cannot write keys.
        block->setShortName(QStringLiteral("X Y")), block->setName(Text(2, QStringLiteral("a [Info] ShortName=EVIL")));
        block->blockDefinition(0)->pin(1)->setShortName(QStringLiteral("P Q"));
        QCOMPARE(StoredForm::of(copy.get()), StoredForm::of(block.get()));
    }

    void loadContentsRejects_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QByteArray>("leftInMemory");
        // A block that compresses well: its storage and the compressed form take memory blocks of different sizes.
        std::unique_ptr<Block> block(Block::createUserBlock());
        block->setShortName(QString(200, QLatin1Char('a')));
        const QByteArray valid = block->saveContents();
        const QByteArray storage = qUncompress(QByteArray::fromHex(valid));
        QTest::newRow("empty") << QByteArray() << QByteArray();
        QTest::newRow("blanks") << QByteArray(valid).insert(10, "  ") << QByteArray();
        // Hex read from the back would take the lone first digit, the claim's leading zero, for a byte.
        QTest::newRow("odd-length") << valid.mid(1) << QByteArray();
        QTest::newRow("truncated") << valid.left(valid.size() / 2) << QByteArray();
        QTest::newRow("compressed-garbage") << qCompress(QByteArray(1000, 'x')).toHex() << QByteArray();
        // The stream holds a storage but its last byte and claims the whole, and the memory inflated into
        // was left holding the whole: a reader that does not check how much the stream filled reads it.
        QTest::newRow("stream-shorter-than-claim") << withClaim(quint32(storage.size()), qCompress(storage.chopped(1)).mid(4)) << storage;
        // 257 MiB of zeros in 0.25 MB: only what the header claims, at most 256 MiB, is allocated and inflated into.
        const QByteArray zeros = zeroStream(257);
        QTest::newRow("bomb-claims-16-bytes") << withClaim(16, zeros) << QByteArray();
        QTest::newRow("bomb-claims-the-truth-above-limit") << withClaim(257 << 20, zeros) << QByteArray();
    }
    void loadContentsRejects()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QByteArray, leftInMemory);
        std::unique_ptr<Block> block(Block::createUserBlock());
        block->setShortName(QStringLiteral("kept"));
        if (!leftInMemory.isEmpty()) {
            QByteArray freed(leftInMemory.size(), Qt::Uninitialized);
            std::copy(leftInMemory.cbegin(), leftInMemory.cend(), freed.begin());
        }
        const auto peakKiB = [] { rusage usage = {}; return getrusage(RUSAGE_SELF, &usage), usage.ru_maxrss; };
        const long before = peakKiB();
        QVERIFY(!block->loadContents(contents));
        QVERIFY2(peakKiB() - before < 64 * 1024, qPrintable(QStringLiteral("peak grew by %1 KiB").arg(peakKiB() - before)));
        QCOMPARE(block->shortName(), QStringLiteral("kept"));
        QVERIFY(block->versions().isEmpty());
    }
};

QTEST_MAIN(tst_Block)
#include "tst_block.moc"
