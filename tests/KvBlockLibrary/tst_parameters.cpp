#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockInstantiationData.h>
#include <KvParameterDefinition/ParameterDefinition.h>
#include <KvParameterDefinition/ParameterDefinitionSaver.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>
#include <LxFileSystem/FileStorageView.h>

#include "ScratchStorage.h"

#include <QtCore/QPointer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>

#include <algorithm>
#include <memory>

namespace {

constexpr unsigned int General = BlockDefinition::GeneralFamily;

ParameterDefinition *parameter(const QString &shortName, unsigned short elements = 1)
{
    auto *definition = new SimpleParameterDefinition;
    definition->setElementCount(elements);
    ParameterText name;
    name.setMultilingualShortText(Text(1, shortName));
    definition->setName(name);
    return definition;
}

QString shortName(const ParameterDefinition *definition)
{
    return definition ? definition->name().multilingualShortText().text(1) : QString();
}

} // namespace

class tst_Parameters : public QObject
{
    Q_OBJECT

private slots:
    void lookupsFallBackToGeneral();
    void lists_data();
    void lists();
    void changedSignals();
    void storageAsymmetry();
    void cloneCopiesParameterDefinitions();
    void parameterLevels_data();
    void parameterLevels();
    void instantiationDataLookups();
};

void tst_Parameters::lookupsFallBackToGeneral()
{
    std::unique_ptr<Block> block(Block::createBlock(QStringLiteral("StandardBlock_200001")));
    BlockDefinition *definition = block->createDefinition();
    ParameterDefinition *general = parameter(QStringLiteral("G"));
    ParameterDefinition *family = parameter(QStringLiteral("F"));
    definition->attachParameterGeneralDefinition(7, general);
    definition->attachParameterFamilyDefinition(3, 7, family);

    QCOMPARE(definition->parameterDefinition(3, 7), family);
    QCOMPARE(definition->parameterDefinition(4, 7), general);
    QCOMPARE(definition->parameterDefinition(General, 7), general);
    QVERIFY(!definition->parameterDefinition(3, 8));
    QCOMPARE(definition->parameterDefinitionList(4), QList<unsigned int>{7});
    QCOMPARE(general->owner(), block.get());
    QCOMPARE(family->owner(), block.get());

    // Detaching the general definition leaves the family's in place.
    std::unique_ptr<ParameterDefinition> detached(definition->detachParameterGeneralDefinition(7));
    QCOMPARE(detached.get(), general);
    QCOMPARE(definition->parameterDefinition(3, 7), family);
    QVERIFY(!definition->parameterDefinition(4, 7));
}

void tst_Parameters::lists_data()
{
    QTest::addColumn<QList<uint>>("familyNumbers");  // family 3
    QTest::addColumn<QList<uint>>("generalNumbers");
    QTest::addColumn<uint>("family");
    QTest::addColumn<QList<uint>>("expected");

    QTest::newRow("family-and-general") << QList<uint>{9, 2} << QList<uint>{2, 5} << 3u << QList<uint>{2, 5, 9};
    QTest::newRow("other-family-sees-general") << QList<uint>{9, 2} << QList<uint>{2, 5} << 4u << QList<uint>{2, 5};
    QTest::newRow("general-once") << QList<uint>{9} << QList<uint>{5, 1} << General << QList<uint>{1, 5};
}

void tst_Parameters::lists()
{
    QFETCH(QList<uint>, familyNumbers);
    QFETCH(QList<uint>, generalNumbers);
    QFETCH(uint, family);
    QFETCH(QList<uint>, expected);

    std::unique_ptr<Block> block(Block::createUserBlock());
    BlockDefinition *definition = block->createDefinition();
    for (uint number : familyNumbers)
        definition->attachParameterFamilyDefinition(3, number, parameter(QStringLiteral("f")));
    for (uint number : generalNumbers)
        definition->attachParameterGeneralDefinition(number, parameter(QStringLiteral("g")));
    QCOMPARE(definition->parameterDefinitionList(family), expected);
}

void tst_Parameters::changedSignals()
{
    std::unique_ptr<Block> block(Block::createUserBlock());
    BlockDefinition *definition = block->createDefinition();
    QSignalSpy changed(definition, &BlockDefinition::changed);
    QVERIFY(definition->isStepInAllowed());
    definition->attachParameterFamilyDefinition(5, 1, parameter(QStringLiteral("a")));
    QVERIFY(definition->isParameterDefinitionBlock());
    QVERIFY(!definition->isStepInAllowed());
    definition->attachParameterGeneralDefinition(2, parameter(QStringLiteral("b")));
    definition->attachParameterFamilyDefinition(2, 1, parameter(QStringLiteral("c")));
    QCOMPARE(changed.count(), 3);
    // Detaching emits even when there was nothing to detach.
    QVERIFY(!definition->detachParameterFamilyDefinition(9, 9));
    QCOMPARE(changed.count(), 4);
    delete definition->detachParameterFamilyDefinition(2, 1);
    QCOMPARE(changed.count(), 5);

    // One for each parameter definition detached, one for the clear itself.
    changed.clear();
    definition->clear();
    QCOMPARE(changed.count(), 3);
    QVERIFY(!definition->isParameterDefinitionBlock());
    QVERIFY(definition->parameterDefinitionList(5).isEmpty());
}

void tst_Parameters::storageAsymmetry()
{
    std::unique_ptr<Block> block(Block::createBlock(QStringLiteral("StandardBlock_200002")));
    BlockDefinition *definition = block->createDefinition(2);
    ParameterDefinition *general = parameter(QStringLiteral("Gen"), 4);
    general->setDescriptionText(QStringLiteral("<p>Allgemein ä</p>"));
    ParameterDefinition *family = parameter(QStringLiteral("Fam"));
    family->setDescriptionText(QStringLiteral("<p>Familie</p>"));
    definition->attachParameterGeneralDefinition(7, general);
    definition->attachParameterFamilyDefinition(3, 7, family);
    definition->attachParameterFamilyDefinition(3, 8, parameter(QStringLiteral("Only")));

    ScratchStorage scratch;
    QVERIFY(scratch.isValid());
    definition->save(scratch.root());
    FileStorageView *parameters = scratch.root()->storage(QStringLiteral("Parameter"));
    QStringList numbers = parameters->storageNames();
    numbers.sort();
    QCOMPARE(numbers, (QStringList{QStringLiteral("7"), QStringLiteral("8")}));
    FileStorageView *number7 = parameters->storage(QStringLiteral("7"));
    QStringList streams = number7->streamNames();
    streams.sort();
    QCOMPARE(streams, (QStringList{QStringLiteral("Description.html"), QStringLiteral("Family_3"), QStringLiteral("General.ini")}));
    QCOMPARE(number7->readStream(QStringLiteral("General.ini")), ParameterDefinitionSaver::saveParameterDefinition(general));
    // The general definition is written after the family's, so its description stands.
    QCOMPARE(number7->readStream(QStringLiteral("Description.html")), QStringLiteral("<p>Allgemein ä</p>").toUtf8());

    std::unique_ptr<Block> loadedBlock(Block::createBlock(QStringLiteral("StandardBlock_200002")));
    const auto load = [&] {
        loadedBlock.reset(Block::createBlock(QStringLiteral("StandardBlock_200002")));
        BlockDefinition *loaded = loadedBlock->createDefinition(2);
        return loaded->load(scratch.root()) ? loaded : nullptr;
    };
    BlockDefinition *loaded = load();
    QVERIFY(loaded);
    // Family definitions written by the library are not read back.
    QCOMPARE(loaded->parameterDefinitionList(3), QList<unsigned int>{7});
    ParameterDefinition *reloaded = loaded->parameterDefinition(3, 7);
    QCOMPARE(shortName(reloaded), QStringLiteral("Gen"));
    QCOMPARE(reloaded->elementCount(), 4);
    QCOMPARE(reloaded->version(), 2u);
    QCOMPARE(reloaded->owner(), loadedBlock.get());
    QCOMPARE(reloaded->descriptionText(), QStringLiteral("<p>Allgemein ä</p>"));

    // A family definition stored with the ".ini" suffix is read; it keeps the description of
    // its own text and never takes the number's "Description.html".
    FileStorageView *number9 = parameters->storage(QStringLiteral("9"));
    number9->writeStream(QStringLiteral("Family_4.ini"), ParameterDefinitionSaver::saveParameterDefinition(family));
    number9->writeStream(QStringLiteral("Description.html"), "ignored");
    number9->writeStream(QStringLiteral("Family_5.ini"), "not a definition");
    parameters->storage(QStringLiteral("x9"))->writeStream(QStringLiteral("General.ini"),
                                                          ParameterDefinitionSaver::saveParameterDefinition(family));
    loaded = load();
    QVERIFY(loaded);
    QCOMPARE(loaded->parameterDefinitionList(4), (QList<unsigned int>{7, 9}));
    QCOMPARE(loaded->parameterDefinitionList(5), QList<unsigned int>{7});
    QCOMPARE(shortName(loaded->parameterDefinition(4, 9)), QStringLiteral("Fam"));
    QCOMPARE(loaded->parameterDefinition(4, 9)->descriptionText(), QStringLiteral("<p>Familie</p>"));

    // A general definition takes its description from "Description.html" only: another
    // text there wins over the one in the definition's own text, and none leaves it empty.
    number7->writeStream(QStringLiteral("Description.html"), QStringLiteral("<p>Neu ö</p>").toUtf8());
    number9->writeStream(QStringLiteral("General.ini"), ParameterDefinitionSaver::saveParameterDefinition(general));
    number9->removeStream(QStringLiteral("Description.html"));
    loaded = load();
    QVERIFY(loaded);
    QCOMPARE(loaded->parameterDefinition(General, 7)->descriptionText(), QStringLiteral("<p>Neu ö</p>"));
    QCOMPARE(shortName(loaded->parameterDefinition(General, 9)), QStringLiteral("Gen"));
    QCOMPARE(loaded->parameterDefinition(General, 9)->descriptionText(), QString());
}

void tst_Parameters::cloneCopiesParameterDefinitions()
{
    std::unique_ptr<Block> block(Block::createUserBlock());
    BlockDefinition *source = block->createDefinition(0);
    source->attachParameterGeneralDefinition(1, parameter(QStringLiteral("one"), 3));
    source->attachParameterFamilyDefinition(6, 2, parameter(QStringLiteral("two")));

    std::unique_ptr<Block> other(Block::createUserBlock());
    BlockDefinition *copy = other->createDefinition(5);
    copy->attachParameterGeneralDefinition(9, parameter(QStringLiteral("old")));
    QSignalSpy changed(copy, &BlockDefinition::changed);
    copy->cloneFrom(source);
    QCOMPARE(changed.count(), 1);
    // The copy's own list replaces the old one; every copy carries its new version and owner.
    QCOMPARE(copy->parameterDefinitionList(6), (QList<unsigned int>{1, 2}));
    QCOMPARE(copy->parameterDefinitionList(General), QList<unsigned int>{1});
    for (ParameterDefinition *cloned : {copy->parameterDefinition(General, 1), copy->parameterDefinition(6, 2)}) {
        QCOMPARE(cloned->version(), 5u);
        QCOMPARE(cloned->owner(), other.get());
    }
    ParameterDefinition *cloned = copy->parameterDefinition(General, 1);
    QVERIFY(cloned != source->parameterDefinition(General, 1));
    QCOMPARE(ParameterDefinitionSaver::saveParameterDefinition(cloned),
             ParameterDefinitionSaver::saveParameterDefinition(source->parameterDefinition(General, 1)));

    // The copies are the copy's own: emptying the source leaves them whole.
    source->clear();
    QCOMPARE(shortName(copy->parameterDefinition(General, 1)), QStringLiteral("one"));
    QCOMPARE(shortName(copy->parameterDefinition(6, 2)), QStringLiteral("two"));
}

void tst_Parameters::parameterLevels_data()
{
    QTest::addColumn<QString>("streamName");
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("parameter"); // empty: nothing read
    QTest::addColumn<uint>("family");
    QTest::addColumn<QString>("read");
    QTest::addColumn<QString>("write");

    const QByteArray header(";type=\"parameterlevel\" version=\"0\"\r\n\r\n");
    QTest::newRow("indexed-general") << "P1234[2].ini" << header + "[General]\r\nLevelRead=3\r\n"
                                     << "P1234[2]" << General << "3" << "";
    QTest::newRow("family-both") << "A12.ini" << header + "[Family_4]\r\nLevelRead=1\r\nLevelWrite=6\r\n"
                                 << "A12" << 4u << "1" << "6";
    QTest::newRow("any-suffix") << "P7.anything.here" << header + "[General]\r\nLevelWrite=2\r\n"
                                << "P7" << General << "" << "2";
    QTest::newRow("no-suffix") << "P8" << header + "[General]\r\nLevelRead=x\r\n" << "P8" << General << "x" << "";
    QTest::newRow("wrong-header") << "P9.ini" << QByteArray(";type=\"parametervalue\" version=\"0\"\r\n\r\n[General]\r\nLevelRead=3\r\n")
                                  << "" << General << "" << "";
    QTest::newRow("odd-name") << "[x].ini" << header + "[General]\r\nLevelRead=3\r\n" << "" << General << "" << "";
    QTest::newRow("other-section") << "P5.ini" << header + "[Family_x]\r\nLevelRead=3\r\n" << "" << General << "" << "";
}

void tst_Parameters::parameterLevels()
{
    QFETCH(QString, streamName);
    QFETCH(QByteArray, text);
    QFETCH(QString, parameter);
    QFETCH(uint, family);
    QFETCH(QString, read);
    QFETCH(QString, write);

    ScratchStorage scratch;
    QVERIFY(scratch.isValid());
    scratch.root()->writeStream(QStringLiteral("Info.ini"), ";type=\"blockversion\" version=\"0\"\r\n\r\n[Info]\r\n");
    scratch.root()->storage(QStringLiteral("ParameterLevel"))->writeStream(streamName, text);
    std::unique_ptr<Block> block(Block::createUserBlock());
    BlockDefinition *definition = block->createDefinition();
    QVERIFY(definition->load(scratch.root()));
    BlockInstantiationData *data = definition->instantiationData();
    if (parameter.isEmpty()) {
        QVERIFY(data->targetParameter(General).isEmpty());
        return;
    }
    QCOMPARE(data->targetParameter(family), QList<QString>{parameter});
    QCOMPARE(data->targetParameterPropertyValue(family, parameter, 5), read);
    QCOMPARE(data->targetParameterPropertyValue(family, parameter, 6), write);
}

void tst_Parameters::instantiationDataLookups()
{
    BlockInstantiationData data;
    data.setGeneralKsbBinary(4, "general-4");
    data.setFamilyKsbBinary(2, 4, "family-2-4");
    data.setFamilyKsbBinary(2, 7, "family-2-7");
    data.setFamilyKsbBinary(2, 4, "replaced");
    QCOMPARE(data.ksbBinaries(2), (QList<unsigned int>{4, 7}));
    QCOMPARE(data.ksbBinaries(General), QList<unsigned int>{4});
    QCOMPARE(data.ksbBinary(3, 4), QByteArray("general-4"));
    QCOMPARE(data.ksbBinary(2, 4), QByteArray("replaced"));
    QCOMPARE(data.ksbBinary(3, 7), QByteArray());

    data.setFamilyParameterProperty(5, QStringLiteral("B"), 109, QStringLiteral("b5"));
    data.setGeneralParameterProperty(QStringLiteral("A"), 109, QStringLiteral("a"));
    data.setGeneralParameterProperty(QStringLiteral("A"), 5, QStringLiteral("a-read"));
    data.setFamilyParameterProperty(5, QStringLiteral("A"), 6, QStringLiteral("a5-write"));
    data.setGeneralParameterProperty(QStringLiteral("B"), 109, QStringLiteral("b"));
    // The order is that of first setting, whichever family set it.
    QCOMPARE(data.targetParameter(5), (QList<QString>{QStringLiteral("B"), QStringLiteral("A")}));
    QCOMPARE(data.targetParameter(6), (QList<QString>{QStringLiteral("B"), QStringLiteral("A")}));
    QCOMPARE(data.targetParameterPropertyValue(5, QStringLiteral("A"), 109), QStringLiteral("a"));
    QCOMPARE(data.targetParameterPropertyValue(5, QStringLiteral("A"), 6), QStringLiteral("a5-write"));
    QCOMPARE(data.targetParameterPropertyValue(6, QStringLiteral("A"), 6), QString());
    QCOMPARE(data.targetParameterPropertyValue(5, QStringLiteral("C"), 109), QString());

    QList<int> numbers = data.targetParameterPropertyNumbers(5, QStringLiteral("A"));
    QCOMPARE(numbers.first(), 6); // the family's own numbers come first
    std::sort(numbers.begin(), numbers.end());
    QCOMPARE(numbers, (QList<int>{5, 6, 109}));
    numbers = data.targetParameterPropertyNumbers(6, QStringLiteral("A"));
    std::sort(numbers.begin(), numbers.end());
    QCOMPARE(numbers, (QList<int>{5, 109}));
}

QTEST_MAIN(tst_Parameters)
#include "tst_parameters.moc"
