// demo: a small library that holds every kind of block and every stored feature, the same
// bytes in every stream on every run. The model writes what it can write itself; what the
// library only reads (written by other tools of the suite) is added through the storage.
#include "Commands.h"
#include "LibraryAccess.h"
#include "TypedIni_p.h"

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>
#include <KvDatatype/SimpleType.h>
#include <KvParameterDefinition/IParameterElementSetup.h>
#include <KvParameterDefinition/ParameterDefinitionSaver.h>
#include <KvParameterDefinition/RecordParameterDefinition.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtCore/QBuffer>
#include <QtCore/QFileInfo>
#include <QtGui/QFont>
#include <QtGui/QImage>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

#include <memory>

namespace Bli {

namespace {

// Identities that never change, so that every run writes the same bytes.
const QString LibraryIdentifier = QStringLiteral("{6b1d3c52-0d9e-4c8e-9a41-3f2d7e5a8c10}");
const QString CascadeIdentifier = QStringLiteral("{a3f0c2de-5b61-4e0f-8d2a-7c9e41b05f33}");
const QString ScaleIdentifier = QStringLiteral("{d81e7a40-2c3b-4f59-b6e7-0a9c5d4e3f21}");
const QString FilterIdentifier = QStringLiteral("{5c2f9e13-7a48-4b0d-9e61-b3d8f0a27c54}");

constexpr unsigned int DemoFamily = 5;
constexpr int LevelRead = 5;
constexpr int LevelWrite = 6;

Text texts(const QString &german, const QString &english = QString())
{
    Text text;
    text.setText(1, german);
    if (!english.isEmpty())
        text.setText(2, english);
    return text;
}

void addPin(BlockDefinition *definition, int number, eBlockPinFunction function, tSimpleType type,
            const QString &shortName, const QString &german, const QString &english)
{
    BlockPin *pin = definition->createPin(number);
    pin->setFunction(function);
    pin->setSimpleType(type);
    pin->setShortName(shortName);
    pin->setName(texts(german, english));
}

// Code text with its "code" type line, which the definition requires before it takes it.
QByteArray codeText(unsigned int version, const QStringList &lines)
{
    TypedIniWriter writer(QStringLiteral("code"), version, TextEncoding::Latin1);
    for (const QString &line : lines)
        writer.addRawLine(line.toLatin1());
    return writer.data();
}

QByteArray png(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

enum class Motif { Ramp, Sum, Wave, Cascade, Table, Gauge };

void drawMotif(QPainter &painter, Motif motif, const QRectF &area)
{
    const double w = area.width(), h = area.height();
    const QPointF o = area.topLeft();
    QPainterPath path;
    switch (motif) {
    case Motif::Ramp:
        path.moveTo(o + QPointF(0, h));
        path.lineTo(o + QPointF(w * 0.6, 0));
        path.lineTo(o + QPointF(w, 0));
        break;
    case Motif::Sum:
        path.moveTo(o + QPointF(w / 2, 0));
        path.lineTo(o + QPointF(w / 2, h));
        path.moveTo(o + QPointF(w / 2 - h / 2, h / 2));
        path.lineTo(o + QPointF(w / 2 + h / 2, h / 2));
        break;
    case Motif::Wave:
        path.moveTo(o + QPointF(0, h / 2));
        path.cubicTo(o + QPointF(w / 4, -h / 2), o + QPointF(w / 4, h * 1.5), o + QPointF(w / 2, h / 2));
        path.cubicTo(o + QPointF(w * 3 / 4, -h / 2), o + QPointF(w * 3 / 4, h * 1.5), o + QPointF(w, h / 2));
        break;
    case Motif::Cascade:
        path.addRect(QRectF(o, QSizeF(w * 0.35, h * 0.6)));
        path.addRect(QRectF(o + QPointF(w * 0.65, h * 0.4), QSizeF(w * 0.35, h * 0.6)));
        path.moveTo(o + QPointF(w * 0.35, h * 0.3));
        path.lineTo(o + QPointF(w * 0.82, h * 0.3));
        path.lineTo(o + QPointF(w * 0.82, h * 0.4));
        break;
    case Motif::Table:
        for (int i = 0; i <= 3; ++i) {
            path.moveTo(o + QPointF(0, h * i / 3));
            path.lineTo(o + QPointF(w, h * i / 3));
            path.moveTo(o + QPointF(w * i / 3, 0));
            path.lineTo(o + QPointF(w * i / 3, h));
        }
        break;
    case Motif::Gauge:
        path.arcMoveTo(QRectF(o, QSizeF(w, h * 2)), 180);
        path.arcTo(QRectF(o, QSizeF(w, h * 2)), 180, -180);
        path.moveTo(o + QPointF(w / 2, h));
        path.lineTo(o + QPointF(w * 0.8, h * 0.3));
        break;
    }
    painter.drawPath(path);
}

// A list image drawn here, not loaded from anywhere: a pictogram with the short name.
QByteArray listImage(Motif motif, const QString &label, QColor colour, bool large)
{
    const QSize size = large ? QSize(200, 100) : QSize(32, 32);
    QImage image(size, QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(colour.darker(160), large ? 2.0 : 1.0));
    painter.setBrush(colour.lighter(170));
    painter.drawRoundedRect(QRectF(image.rect()).adjusted(1, 1, -1, -1), large ? 10 : 4, large ? 10 : 4);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(colour.darker(200), large ? 4.0 : 2.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    if (large) {
        drawMotif(painter, motif, QRectF(20, 15, 100, 70));
        QFont font(QStringLiteral("DejaVu Sans"));
        font.setPixelSize(18);
        font.setBold(true);
        painter.setFont(font);
        painter.drawText(QRectF(120, 0, 76, 100), Qt::AlignCenter, label.left(5));
    } else {
        drawMotif(painter, motif, QRectF(6, 8, 20, 16));
    }
    painter.end();
    return png(image);
}

void setImages(BlockDefinition *definition, Motif motif, const QString &label, QColor colour, bool small = true)
{
    definition->setLargeListImage(QStringLiteral("png"), listImage(motif, label, colour, true));
    if (small)
        definition->setSmallListImage(QStringLiteral("png"), listImage(motif, label, colour, false));
}

void setProperty(IParameterElementSetup *setup, int id, const QVariant &value)
{
    setup->setProperty(id, ParameterProperty(value));
}

SimpleParameterDefinition *speedLimit(unsigned int maximum)
{
    auto *definition = new SimpleParameterDefinition;
    ParameterText name;
    name.setShortText(1, QStringLiteral("NMAX"));
    name.setLongText(1, QStringLiteral("Maximale Drehzahl"));
    name.setLongText(2, QStringLiteral("Maximum speed"));
    definition->setName(name);
    definition->setDefaultCoordinates({ ParameterCoordinate(QStringLiteral("P1201")) });
    definition->setDescriptionText(QStringLiteral("<p>Obergrenze der Drehzahl in 1/min.</p>"));
    IParameterElementSetup *setup = definition->queryElementSetup(0);
    setProperty(setup, LevelRead, 2u);
    setProperty(setup, LevelWrite, 4u);
    setProperty(setup, 100, 0.0);
    setProperty(setup, 101, double(maximum));
    setProperty(setup, 102, QStringLiteral("1/min"));
    definition->setElementDefaultValue(0, QString::number(maximum / 2));
    return definition;
}

ParameterDefinition *supportPoints()
{
    auto *definition = new SimpleParameterDefinition;
    definition->setElementCount(4);
    ParameterText name;
    name.setShortText(1, QStringLiteral("STP"));
    name.setLongText(1, QStringLiteral("Stützstellen der Kennlinie"));
    name.setLongText(2, QStringLiteral("Support points of the curve"));
    definition->setName(name);
    definition->setDefaultCoordinates({ ParameterCoordinate(QStringLiteral("P1202")) });
    definition->setGlobalParameter(true);
    definition->setDescriptionText(QStringLiteral("<p>Vier Stützstellen, linear verbunden.</p>"));
    IParameterElementSetup *setup = definition->queryElementSetup(0);
    setProperty(setup, LevelRead, 2u);
    setProperty(setup, LevelWrite, 5u);
    setProperty(setup, 102, QStringLiteral("%"));
    for (unsigned short i = 0; i < 4; ++i)
        definition->setElementDefaultValue(i, QString::number(i * 25));
    return definition;
}

ParameterDefinition *axisData()
{
    auto *definition = new RecordParameterDefinition;
    ParameterText name;
    name.setShortText(1, QStringLiteral("AXD"));
    name.setLongText(1, QStringLiteral("Achsdaten"));
    name.setLongText(2, QStringLiteral("Axis data"));
    definition->setName(name);
    definition->setDefaultCoordinates({ ParameterCoordinate(QStringLiteral("P1210")), ParameterCoordinate(QStringLiteral("A12")) });
    definition->setDescriptionText(QStringLiteral("<p>Getriebe, Drehrichtung und Grenze einer Achse.</p>"));
    const struct
    {
        const char *german;
        const char *english;
        const char *value;
        QVariant unit;
    } elements[] = {
        { "Übersetzung", "Gear ratio", "1.0", QVariant(QStringLiteral("1")) },
        { "Drehrichtung umkehren", "Reverse direction", "0", QVariant(false) },
        { "Grenzmoment", "Torque limit", "120", QVariant(QStringLiteral("%")) },
    };
    unsigned short index = 0;
    for (const auto &element : elements) {
        IParameterElementSetup *setup = definition->createElement(index);
        ParameterText elementName;
        elementName.setLongText(1, QString::fromUtf8(element.german));
        elementName.setLongText(2, QString::fromUtf8(element.english));
        definition->setElementName(index, elementName);
        definition->setElementDefaultValue(index, QString::fromLatin1(element.value));
        setProperty(setup, LevelRead, 1u);
        setProperty(setup, LevelWrite, 6u);
        setup->setProperty(102, ParameterProperty(element.unit));
        ++index;
    }
    return definition;
}

Block *newBlock(const QString &identifier, const QString &shortName, const Text &name, const QString &groupPath)
{
    Block *block = Block::createBlock(identifier);
    Q_ASSERT(block);
    block->setShortName(shortName);
    block->setName(name);
    block->setGroupPath(groupPath);
    return block;
}

BlockDefinition *newVersion(Block *block, unsigned int read, unsigned int write, const QByteArray &description)
{
    BlockDefinition *definition = block->createDefinition();
    definition->setAccessLevelRead(read);
    definition->setAccessLevelWrite(write);
    if (!description.isEmpty())
        definition->setDescriptionText(description);
    return definition;
}

void buildBlocks(BlockLibrary *library)
{
    const QColor blue(0x3a, 0x6e, 0xa5), green(0x3f, 0x8f, 0x4f), orange(0xc8, 0x6b, 0x1e),
            purple(0x6d, 0x4c, 0x9f), grey(0x6b, 0x6b, 0x6b), red(0xa8, 0x38, 0x38);

    Block *root = newBlock(QStringLiteral("RootBlock"), QStringLiteral("ROOT"),
                           texts(QStringLiteral("Wurzelbaustein"), QStringLiteral("Root block")), QString());
    BlockDefinition *definition = newVersion(root, 0, 7, "<p>Das Programm der Achse.</p>");
    definition->setCodeText(codeText(1, { QStringLiteral("PROGRAM Root"), QStringLiteral("END_PROGRAM") }));
    library->insertBlock(root);

    // A system block with a monolingual name.
    Block *add = newBlock(QStringLiteral("SystemBlock_12"), QStringLiteral("ADD"), texts(QStringLiteral("Addition")),
                          QStringLiteral("1"));
    definition = newVersion(add, 0, 7, "<p>Summe zweier Werte.</p>");
    addPin(definition, 1, eBlockPinFunctionInput, eSimpleTypeReal, QStringLiteral("IN1"), QStringLiteral("Summand 1"), QStringLiteral("Addend 1"));
    addPin(definition, 2, eBlockPinFunctionInput, eSimpleTypeReal, QStringLiteral("IN2"), QStringLiteral("Summand 2"), QStringLiteral("Addend 2"));
    addPin(definition, 3, eBlockPinFunctionOutput, eSimpleTypeReal, QStringLiteral("OUT"), QStringLiteral("Summe"), QStringLiteral("Sum"));
    definition->setCodeText(codeText(2, { QStringLiteral("OUT := IN1 + IN2;") }));
    setImages(definition, Motif::Sum, QStringLiteral("ADD"), grey);
    library->insertBlock(add);

    // Tool blocks have no enable pin.
    Block *tool = newBlock(QStringLiteral("ToolBlock_3"), QStringLiteral("DIAG"),
                           texts(QStringLiteral("Diagnose"), QStringLiteral("Diagnostics")), QStringLiteral("1"));
    definition = newVersion(tool, 3, 7, "<p>Zeichnet Signale auf.</p>");
    addPin(definition, 1, eBlockPinFunctionInput, eSimpleTypeDInt, QStringLiteral("SIG"), QStringLiteral("Signal"), QStringLiteral("Signal"));
    definition->setCodeText(codeText(1, { QStringLiteral("TRACE(SIG);") }));
    setImages(definition, Motif::Wave, QStringLiteral("DIAG"), grey);
    library->insertBlock(tool);

    Block *magic = newBlock(QStringLiteral("MagicBlock_1"), QStringLiteral("SYNC"),
                            texts(QStringLiteral("Synchronisation"), QStringLiteral("Synchronisation")), QStringLiteral("1"));
    definition = newVersion(magic, 0, 7, QByteArray());
    addPin(definition, 1, eBlockPinFunctionOutput, eSimpleTypeBool, QStringLiteral("SYN"), QStringLiteral("Synchron"), QStringLiteral("In sync"));
    library->insertBlock(magic);

    // A standard block in three versions, the last with its own pin order.
    Block *ramp = newBlock(QStringLiteral("StandardBlock_100"), QStringLiteral("RAMP"),
                           texts(QStringLiteral("Rampe für Sollwerte"), QStringLiteral("Setpoint ramp")), QStringLiteral("2"));
    for (unsigned int version = 0; version < 3; ++version) {
        definition = newVersion(ramp, 0, 6,
                                QStringLiteral("<p>Begrenzt die Änderung des Sollwerts (Version %1).</p>").arg(version).toUtf8());
        addPin(definition, 1, eBlockPinFunctionInput, eSimpleTypeReal, QStringLiteral("X"), QStringLiteral("Sollwert"), QStringLiteral("Setpoint"));
        addPin(definition, 2, eBlockPinFunctionInput, eSimpleTypeReal, QStringLiteral("RATE"), QStringLiteral("Steigung"), QStringLiteral("Slope"));
        if (version >= 1)
            addPin(definition, 3, eBlockPinFunctionInput, eSimpleTypeBool, QStringLiteral("HOLD"), QStringLiteral("Anhalten"), QStringLiteral("Hold"));
        addPin(definition, 4, eBlockPinFunctionOutput, eSimpleTypeReal, QStringLiteral("Y"), QStringLiteral("Ausgang"), QStringLiteral("Output"));
        if (version >= 2) {
            addPin(definition, 5, eBlockPinFunctionOutput, eSimpleTypeBool, QStringLiteral("DONE"), QStringLiteral("Erreicht"), QStringLiteral("Reached"));
            definition->defaultSkin()->setInputPinOrder({ 3, 1, 2 });
            definition->defaultSkin()->setOutputPinOrder({ 5, 4 });
        }
        definition->setCodeText(codeText(version + 1, { QStringLiteral("Y := RAMP(X, RATE);"),
                                                         QStringLiteral("(* Version %1 *)").arg(version) }));
        setImages(definition, Motif::Ramp, QStringLiteral("RAMP"), blue);
    }
    library->insertBlock(ramp);

    // A parameter-definition block (numbers 200000 to 299999): simple, array and record
    // definitions; its family definition and instantiation data are added to the storage.
    Block *limits = newBlock(QStringLiteral("StandardBlock_200001"), QStringLiteral("PLIM"),
                             texts(QStringLiteral("Drehzahlgrenzen"), QStringLiteral("Speed limits")), QStringLiteral("4"));
    definition = newVersion(limits, 0, 5, "<p>Parameter der Drehzahlbegrenzung.</p>");
    definition->attachParameterGeneralDefinition(1, speedLimit(6000));
    definition->attachParameterGeneralDefinition(2, supportPoints());
    definition->attachParameterGeneralDefinition(3, axisData());
    setImages(definition, Motif::Table, QStringLiteral("PLIM"), green, false);
    library->insertBlock(limits);

    Block *monitor = newBlock(QStringLiteral("TemplateBlock_7"), QStringLiteral("AXMON"),
                              texts(QStringLiteral("Achsüberwachung"), QStringLiteral("Axis monitoring")), QStringLiteral("5"));
    definition = newVersion(monitor, 2, 6, "<p>Vorlage für die Überwachung einer Achse.</p>");
    addPin(definition, 1, eBlockPinFunctionInput, eSimpleTypeReal, QStringLiteral("POS"), QStringLiteral("Position"), QStringLiteral("Position"));
    addPin(definition, 2, eBlockPinFunctionOutput, eSimpleTypeBool, QStringLiteral("ERR"), QStringLiteral("Störung"), QStringLiteral("Fault"));
    definition->setCodeText(codeText(1, { QStringLiteral("ERR := ABS(POS) > LIMIT;") }));
    setImages(definition, Motif::Gauge, QStringLiteral("AXMON"), red);
    library->insertBlock(monitor);

    // A user block in two versions; the second uses a local block.
    Block *cascade = newBlock(CascadeIdentifier, QStringLiteral("CASC"),
                              texts(QStringLiteral("Kaskadenregler"), QStringLiteral("Cascade controller")), QStringLiteral("2/3"));
    for (unsigned int version = 0; version < 2; ++version) {
        definition = newVersion(cascade, 0, 4, "<p>Lage- und Drehzahlregler in Kaskade.</p>");
        addPin(definition, 1, eBlockPinFunctionInput, eSimpleTypeReal, QStringLiteral("W"), QStringLiteral("Führungsgröße"), QStringLiteral("Reference"));
        addPin(definition, 2, eBlockPinFunctionInput, eSimpleTypeReal, QStringLiteral("X"), QStringLiteral("Istwert"), QStringLiteral("Actual value"));
        addPin(definition, 3, eBlockPinFunctionInput, eSimpleTypeReal, QStringLiteral("KP"), QStringLiteral("Verstärkung"), QStringLiteral("Gain"));
        addPin(definition, 4, eBlockPinFunctionOutput, eSimpleTypeReal, QStringLiteral("Y"), QStringLiteral("Stellgröße"), QStringLiteral("Output"));
        definition->setCodeText(codeText(1, { QStringLiteral("Y := KP * (W - X);") }));
        setImages(definition, Motif::Cascade, QStringLiteral("CASC"), purple);
    }
    Block *filter = newBlock(FilterIdentifier, QStringLiteral("FILT"),
                             texts(QStringLiteral("Tiefpassfilter"), QStringLiteral("Low-pass filter")), QString());
    BlockDefinition *local = newVersion(filter, 0, 4, QByteArray());
    addPin(local, 1, eBlockPinFunctionInput, eSimpleTypeReal, QStringLiteral("U"), QStringLiteral("Eingang"), QStringLiteral("Input"));
    addPin(local, 2, eBlockPinFunctionOutput, eSimpleTypeReal, QStringLiteral("V"), QStringLiteral("Ausgang"), QStringLiteral("Output"));
    local->setCodeText(codeText(1, { QStringLiteral("V := V + (U - V) / 8;") }));
    definition->localBlockLibrary()->insertBlock(filter);
    library->insertBlock(cascade);

    Block *scale = newBlock(ScaleIdentifier, QStringLiteral("SCALE"),
                            texts(QStringLiteral("Größenumrechnung"), QStringLiteral("Unit conversion")), QStringLiteral("6"));
    definition = newVersion(scale, 0, 4, "<p>Rechnet Weg in Inkremente um.</p>");
    addPin(definition, 1, eBlockPinFunctionInput, eSimpleTypeLReal, QStringLiteral("MM"), QStringLiteral("Weg in mm"), QStringLiteral("Distance in mm"));
    addPin(definition, 2, eBlockPinFunctionOutput, eSimpleTypeDInt, QStringLiteral("INC"), QStringLiteral("Inkremente"), QStringLiteral("Increments"));
    definition->setCodeText(codeText(1, { QStringLiteral("INC := REAL_TO_DINT(MM * 1000.0);") }));
    setImages(definition, Motif::Ramp, QStringLiteral("SCALE"), orange);
    library->insertBlock(scale);
}

// ---- what the library reads but never writes ------------------------------------------

void writeGroupSegments(FileStorageView *root)
{
    const struct
    {
        unsigned int number;
        const char *german;
        const char *english;
    } segments[] = {
        { 1, "Grundfunktionen", "Basic functions" },
        { 2, "Bewegung", "Motion" },
        { 3, "Regelung", "Control" },
        { 4, "Parameterblöcke", "Parameter blocks" },
        { 5, "Vorlagen", "Templates" },
        { 6, "Eigene Bausteine", "Own blocks" },
    };
    FileStorageView *storage = root->storage(QStringLiteral("Groupsegments"));
    for (const auto &segment : segments) {
        TypedIniWriter writer(QStringLiteral("groupsegment"), 0, TextEncoding::Utf8);
        writer.beginSection("Names");
        writer.addLanguages(texts(QString::fromUtf8(segment.german), QString::fromUtf8(segment.english)));
        writer.write(storage->storage(QString::number(segment.number)), QStringLiteral("Info.ini"));
    }
}

QByteArray binary(int size, quint8 seed)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        bytes[i] = char(quint8(seed + i * 37));
    return bytes;
}

void writeInstantiationData(FileStorageView *version)
{
    // A family definition, under the name the loader reads back.
    std::unique_ptr<ParameterDefinition> family(speedLimit(4500));
    version->storage(QStringLiteral("Parameter"))
            ->storage(QStringLiteral("1"))
            ->writeStream(QStringLiteral("Family_%1.ini").arg(DemoFamily),
                          ParameterDefinitionSaver::saveParameterDefinition(family.get()));

    FileStorageView *binaries = version->storage(QStringLiteral("KsbBinaries"));
    binaries->storage(QStringLiteral("1"))->writeStream(QStringLiteral("General.bin"), binary(64, 1));
    binaries->storage(QStringLiteral("1"))->writeStream(QStringLiteral("Family_%1.bin").arg(DemoFamily), binary(48, 2));
    binaries->storage(QStringLiteral("2"))->writeStream(QStringLiteral("General.bin"), binary(32, 3));

    FileStorageView *values = version->storage(QStringLiteral("ParameterValues"));
    TypedIniWriter order(QStringLiteral("order"), 0, TextEncoding::Latin1);
    order.addRawLine("P1202[2].ini");
    order.addRawLine("P1201.ini");
    order.write(values, QStringLiteral("order.txt"));
    TypedIniWriter speed(QStringLiteral("parametervalue"), 0, TextEncoding::Latin1);
    speed.beginSection("General");
    speed.addNumber("Value", 3000);
    speed.beginSection(QStringLiteral("Family_%1").arg(DemoFamily).toLatin1());
    speed.addNumber("Value", 2500);
    speed.write(values, QStringLiteral("P1201.ini"));
    TypedIniWriter point(QStringLiteral("parametervalue"), 0, TextEncoding::Latin1);
    point.beginSection("General");
    point.addNumber("Value", 60);
    point.write(values, QStringLiteral("P1202[2].ini"));

    TypedIniWriter levels(QStringLiteral("parameterlevel"), 0, TextEncoding::Latin1);
    levels.beginSection("General");
    levels.addUnsigned("LevelRead", 2);
    levels.addUnsigned("LevelWrite", 4);
    levels.beginSection(QStringLiteral("Family_%1").arg(DemoFamily).toLatin1());
    levels.addUnsigned("LevelWrite", 6);
    levels.write(version->storage(QStringLiteral("ParameterLevel")), QStringLiteral("P1201.ini"));
}

void writeTemplate(FileStorageView *version)
{
    // The template section follows the version's own section after a second type line.
    TypedIniWriter section(QStringLiteral("templateblock"), 0, TextEncoding::Latin1);
    section.beginSection("Template");
    section.addUnsigned("LevelEditOfCopy", 3);
    section.addText("AvailableFor", QStringLiteral("global"));
    section.addText("ParameterGroup", QStringLiteral("Achse"));
    const QByteArray info = version->readStream(QStringLiteral("Info.ini"));
    version->writeStream(QStringLiteral("Info.ini"), info + "\r\n" + section.data());

    version->storage(QStringLiteral("Wizard"))
            ->writeStream(QStringLiteral("Definition.txt"),
                          "<wizard version=\"1\">\r\n"
                          "  <page title=\"Achse\"><field name=\"LIMIT\" type=\"REAL\" default=\"10.0\"/></page>\r\n"
                          "</wizard>\r\n");
}

} // namespace

int runDemo(const Invocation &invocation)
{
    const QString path = invocation.argument(0);
    if (QFileInfo::exists(path) && !invocation.force)
        throw Failure { QStringLiteral("%1: exists; --force replaces it").arg(path) };

    FileView file;
    file.create(path);
    if (!file.isOpen())
        throw Failure { QStringLiteral("%1: cannot create: %2").arg(path, file.errorString()) };
    {
        std::unique_ptr<FileStorageView> root(file.createRootView());
        ToolContainer container;
        container.setIdentifier(LibraryIdentifier);
        container.setName(texts(QStringLiteral("Demo-Bibliothek"), QStringLiteral("Demo library")));
        container.setType(256);
        buildBlocks(container.library());
        container.save(root.get());

        writeGroupSegments(root.get());
        FileStorageView *blocks = root->storage(QStringLiteral("Blocks"));
        writeInstantiationData(blocks->storage(QStringLiteral("StandardBlock_200001"))->storage(QStringLiteral("V0")));
        writeTemplate(blocks->storage(QStringLiteral("TemplateBlock_7"))->storage(QStringLiteral("V0")));
    }
    file.close();
    if (file.hasError())
        throw Failure { QStringLiteral("%1: not written: %2").arg(path, file.errorString()) };
    return ExitSuccess;
}

} // namespace Bli
