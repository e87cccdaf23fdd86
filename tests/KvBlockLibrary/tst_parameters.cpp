// Parameter definitions of a block version: lookups, signals, the stored layout and what
// loading reads back of it, clones, parameter levels and the instantiation data.
#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockInstantiationData.h>
#include <KvParameterDefinition/ParameterDefinition.h>
#include <KvParameterDefinition/ParameterDefinitionSaver.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>
#include <LxFileSystem/FileStorageView.h>

#include "ScratchStorage.h"
#include "StoredForm.h"

#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <memory>

namespace {

constexpr unsigned int General = BlockDefinition::GeneralFamily;

ParameterDefinition *parameter(const QString &shortName, unsigned short elements = 1, const QString &description = {})
{
    auto *definition = new SimpleParameterDefinition;
    definition->setElementCount(elements);
    definition->setDescriptionText(description);
    ParameterText name;
    name.setMultilingualShortText(Text(1, shortName));
    definition->setName(name);
    return definition;
}

QString shortName(const ParameterDefinition *definition)
{
    return definition ? definition->name().multilingualShortText().text(1) : QStringLiteral("none");
}

QSet<QString> names(const QStringList &list)
{
    return QSet<QString>(list.begin(), list.end());
}

} // namespace

class tst_Parameters : public QObject
{
    Q_OBJECT

private slots:
    void lookupsFallBackToGeneral()
    {
        std::unique_ptr<Block> block(Block::createBlock(QStringLiteral("StandardBlock_200001")));
        BlockDefinition *definition = block->createDefinition();
        QSignalSpy changed(definition, &BlockDefinition::changed);
        QVERIFY(definition->isStepInAllowed());
        ParameterDefinition *general = parameter(QStringLiteral("G"));
        ParameterDefinition *family = parameter(QStringLiteral("F"));
        definition->attachParameterGeneralDefinition(7, general);
        definition->attachParameterFamilyDefinition(3, 7, family);
        definition->attachParameterFamilyDefinition(3, 9, parameter(QStringLiteral("F9")));
        definition->attachParameterGeneralDefinition(2, parameter(QStringLiteral("G2")));
        QCOMPARE(changed.count(), 4);
        QVERIFY(definition->isParameterDefinitionBlock());
        QVERIFY(!definition->isStepInAllowed());

        QCOMPARE(definition->parameterDefinition(3, 7), family);
        QCOMPARE(definition->parameterDefinition(4, 7), general);
        QVERIFY(!definition->parameterDefinition(4, 9));
        // A family's list holds its own numbers and the general ones, sorted, each once.
        QCOMPARE(definition->parameterDefinitionList(3), (QList<unsigned int>{2, 7, 9}));
        QCOMPARE(definition->parameterDefinitionList(4), (QList<unsigned int>{2, 7}));
        QCOMPARE(definition->parameterDefinitionList(General), (QList<unsigned int>{2, 7}));
        QCOMPARE(family->owner(), block.get());

        // Detaching the general definition leaves the family's; detaching emits even when
        // there was nothing to detach.
        std::unique_ptr<ParameterDefinition> detached(definition->detachParameterGeneralDefinition(7));
        QCOMPARE(detached.get(), general);
        QCOMPARE(definition->parameterDefinition(3, 7), family);
        QVERIFY(!definition->parameterDefinition(4, 7));
        QVERIFY(!definition->detachParameterFamilyDefinition(9, 9));
        QCOMPARE(changed.count(), 6);

        // One signal for each parameter definition detached, one for the clear itself.
        changed.clear();
        definition->clear();
        QCOMPARE(changed.count(), 4);
        QVERIFY(!definition->isParameterDefinitionBlock());
        QVERIFY(definition->parameterDefinitionList(3).isEmpty());
    }

    // Family definitions are written without ".ini" and read back only with it; a general
    // definition's description lives in "Description.html" beside it.
    void storedLayout()
    {
        std::unique_ptr<Block> block(Block::createBlock(QStringLiteral("StandardBlock_200002")));
        BlockDefinition *definition = block->createDefinition(2);
        ParameterDefinition *general = parameter(QStringLiteral("Gen"), 4, QStringLiteral("<p>Allgemein ä</p>"));
        ParameterDefinition *family = parameter(QStringLiteral("Fam"), 1, QStringLiteral("<p>Familie</p>"));
        definition->attachParameterGeneralDefinition(7, general);
        definition->attachParameterFamilyDefinition(3, 7, family);
        definition->attachParameterFamilyDefinition(3, 8, parameter(QStringLiteral("Only")));

        ScratchStorage scratch;
        QVERIFY(scratch.isValid());
        definition->save(scratch.root());
        FileStorageView *parameters = scratch.root()->storage(QStringLiteral("Parameter"));
        QCOMPARE(names(parameters->storageNames()), (QSet<QString>{"7", "8"}));
        FileStorageView *number7 = parameters->storage(QStringLiteral("7"));
        QCOMPARE(names(number7->streamNames()), (QSet<QString>{"Description.html", "Family_3", "General.ini"}));
        QCOMPARE(number7->readStream(QStringLiteral("General.ini")), ParameterDefinitionSaver::saveParameterDefinition(general));
        // The general definition is written after the family's, so its description stands.
        QCOMPARE(number7->readStream(QStringLiteral("Description.html")), QStringLiteral("<p>Allgemein ä</p>").toUtf8());

        std::unique_ptr<Block> loadedBlock;
        BlockDefinition *loaded = nullptr;
        const auto load = [&] {
            loadedBlock.reset(Block::createBlock(QStringLiteral("StandardBlock_200002")));
            loaded = loadedBlock->createDefinition(2);
            return loaded->load(scratch.root());
        };
        QVERIFY(load());
        QCOMPARE(loaded->parameterDefinitionList(3), QList<unsigned int>{7});
        ParameterDefinition *reloaded = loaded->parameterDefinition(3, 7);
        QCOMPARE(ParameterDefinitionSaver::saveParameterDefinition(reloaded), ParameterDefinitionSaver::saveParameterDefinition(general));
        QCOMPARE(reloaded->version(), 2u);
        QCOMPARE(reloaded->owner(), loadedBlock.get());

        // A family definition stored as "Family_<n>.ini" is read with the description of its
        // own text; unreadable texts and storages not named by a number are skipped.
        FileStorageView *number9 = parameters->storage(QStringLiteral("9"));
        number9->writeStream(QStringLiteral("Family_4.ini"), ParameterDefinitionSaver::saveParameterDefinition(family));
        number9->writeStream(QStringLiteral("Description.html"), "ignored");
        number9->writeStream(QStringLiteral("Family_5.ini"), "not a definition");
        parameters->storage(QStringLiteral("x9"))->writeStream(QStringLiteral("General.ini"),
                                                              ParameterDefinitionSaver::saveParameterDefinition(family));
        QVERIFY(load());
        QCOMPARE(loaded->parameterDefinitionList(4), (QList<unsigned int>{7, 9}));
        QCOMPARE(loaded->parameterDefinitionList(5), QList<unsigned int>{7});
        QCOMPARE(loaded->parameterDefinition(4, 9)->descriptionText(), QStringLiteral("<p>Familie</p>"));

        // A general definition takes its description from "Description.html" only: another
        // text there wins over the one in the definition's text, and none leaves it empty.
        number7->writeStream(QStringLiteral("Description.html"), QStringLiteral("<p>Neu ö</p>").toUtf8());
        number9->writeStream(QStringLiteral("General.ini"), ParameterDefinitionSaver::saveParameterDefinition(general));
        number9->removeStream(QStringLiteral("Description.html"));
        QVERIFY(load());
        QCOMPARE(loaded->parameterDefinition(General, 7)->descriptionText(), QStringLiteral("<p>Neu ö</p>"));
        QCOMPARE(shortName(loaded->parameterDefinition(General, 9)), QStringLiteral("Gen"));
        QCOMPARE(loaded->parameterDefinition(General, 9)->descriptionText(), QString());

        // Loading again replaces each definition and deletes the one it replaces (the leak
        // check of the sanitizer build sees one that is not).
        QVERIFY(loaded->load(scratch.root()));
        QCOMPARE(loaded->parameterDefinitionList(4), (QList<unsigned int>{7, 9}));
        QCOMPARE(shortName(loaded->parameterDefinition(4, 9)), QStringLiteral("Fam"));
    }

    void cloneCopiesParameterDefinitions()
    {
        std::unique_ptr<Block> block(Block::createUserBlock());
        BlockDefinition *source = block->createDefinition(0);
        source->attachParameterGeneralDefinition(1, parameter(QStringLiteral("one"), 3));
        source->attachParameterFamilyDefinition(6, 2, parameter(QStringLiteral("two")));
        const QStringList stored = StoredForm::of(source);

        std::unique_ptr<Block> other(Block::createUserBlock());
        BlockDefinition *copy = other->createDefinition(5);
        copy->attachParameterGeneralDefinition(9, parameter(QStringLiteral("old")));
        QSignalSpy changed(copy, &BlockDefinition::changed);
        copy->cloneFrom(source);
        QCOMPARE(changed.count(), 1);
        // The copy's own definitions are replaced; the copies are its own, with its version and
        // owner, and emptying the source leaves them whole.
        source->clear();
        QCOMPARE(StoredForm::of(copy), stored);
        QCOMPARE(copy->parameterDefinition(6, 2)->version(), 5u);
        QCOMPARE(copy->parameterDefinition(6, 2)->owner(), other.get());
    }

    void parameterLevels_data()
    {
        QTest::addColumn<QString>("streamName");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<uint>("family");
        QTest::addColumn<QString>("read"); // the parameters, then LevelRead and LevelWrite of the first

        const auto row = [](const char *name, const char *stream, const QByteArray &text, uint family, const char *read) {
            QTest::newRow(name) << QString::fromUtf8(stream) << text << family << QString::fromUtf8(read);
        };
        const QByteArray header(";type=\"parameterlevel\" version=\"0\"\r\n\r\n");
        row("indexed-general", "P1234[2].ini", header + "[General]\r\nLevelRead=3\r\n", General, "P1234[2] 3 ");
        row("family-both", "A12.ini", header + "[Family_4]\r\nLevelRead=1\r\nLevelWrite=6\r\n", 4, "A12 1 6");
        row("any-suffix", "P7.anything.here", header + "[General]\r\nLevelWrite=2\r\n", General, "P7  2");
        row("no-suffix", "P8", header + "[General]\r\nLevelRead=x\r\n", General, "P8 x ");
        row("wrong-header", "P9.ini", ";type=\"parametervalue\" version=\"0\"\r\n\r\n[General]\r\nLevelRead=3\r\n", General, "  ");
        row("odd-name", "[x].ini", header + "[General]\r\nLevelRead=3\r\n", General, "  ");
        row("other-section", "P5.ini", header + "[Family_x]\r\nLevelRead=3\r\n", General, "  ");
    }

    void parameterLevels()
    {
        QFETCH(QString, streamName);
        QFETCH(QByteArray, text);
        QFETCH(uint, family);
        QFETCH(QString, read);

        ScratchStorage scratch;
        QVERIFY(scratch.isValid());
        scratch.root()->writeStream(QStringLiteral("Info.ini"), ";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\n");
        scratch.root()->storage(QStringLiteral("ParameterLevel"))->writeStream(streamName, text);
        std::unique_ptr<Block> block(Block::createUserBlock());
        BlockDefinition *definition = block->createDefinition();
        QVERIFY(definition->load(scratch.root()));
        BlockInstantiationData *data = definition->instantiationData();
        const QStringList parameters = data->targetParameter(family);
        QCOMPARE(QStringList({parameters.join(QLatin1Char(',')), data->targetParameterPropertyValue(family, parameters.value(0), 5),
                              data->targetParameterPropertyValue(family, parameters.value(0), 6)}).join(QLatin1Char(' ')),
                 read);
    }

    // The lookups bli show lists for the demo library are compared there; here what loading
    // does not reach: replacing a value, and the order of first setting across families.
    void instantiationDataLookups()
    {
        BlockInstantiationData data;
        data.setGeneralKsbBinary(4, "general-4");
        data.setFamilyKsbBinary(2, 7, "family-2-7");
        data.setFamilyKsbBinary(2, 4, "family-2-4");
        data.setFamilyKsbBinary(2, 4, "replaced");
        QCOMPARE(data.ksbBinaries(2), (QList<unsigned int>{4, 7}));
        QCOMPARE(data.ksbBinary(3, 4) + data.ksbBinary(2, 4) + data.ksbBinary(3, 7), QByteArray("general-4replaced"));
        data.setFamilyParameterProperty(5, QStringLiteral("B"), 109, QStringLiteral("b5"));
        data.setGeneralParameterProperty(QStringLiteral("A"), 109, QStringLiteral("a"));
        data.setFamilyParameterProperty(5, QStringLiteral("A"), 6, QStringLiteral("a5-write"));
        data.setGeneralParameterProperty(QStringLiteral("B"), 109, QStringLiteral("b"));
        QCOMPARE(data.targetParameter(6), (QList<QString>{"B", "A"}));
        QCOMPARE(data.targetParameterPropertyNumbers(5, QStringLiteral("A")), (QList<int>{6, 109}));
    }
};

QTEST_MAIN(tst_Parameters)
#include "tst_parameters.moc"
