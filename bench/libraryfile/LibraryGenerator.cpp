#include "LibraryGenerator.h"

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvBlockLibrary/BlockPin.h>
#include <KvBlockLibrary/BlockSkin.h>
#include <KvParameterDefinition/IParameterElementSetup.h>
#include <KvParameterDefinition/ParameterProperty.h>
#include <KvParameterDefinition/RecordParameterDefinition.h>
#include <KvParameterDefinition/SimpleParameterDefinition.h>
#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <QtCore/QBuffer>
#include <QtCore/QDir>
#include <QtCore/QHash>
#include <QtCore/QTemporaryDir>
#include <QtGui/QImage>

#include <memory>

namespace KvBench {

namespace {

// xorshift64*: fast, and the same numbers on every machine.
class Random
{
public:
    explicit Random(quint64 seed) : m_state(seed * 0x9E3779B97F4A7C15ull + 1) { }
    quint64 next()
    {
        m_state ^= m_state >> 12;
        m_state ^= m_state << 25;
        m_state ^= m_state >> 27;
        return m_state * 0x2545F4914F6CDD1Dull;
    }
    int between(int low, int high) { return low + int(next() % quint64(high - low + 1)); }
    bool percent(int chance) { return between(1, 100) <= chance; }

private:
    quint64 m_state;
};

// Real list images: a drawn background with a noisy patch, grown until the PNG reaches its
// target size. A pool of them is made once; real libraries reuse pictograms too.
QByteArray pngOfSize(Random &random, int target)
{
    QImage image(64, 48, QImage::Format_ARGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgba(40 + x * 2, 80 + y * 2, 160, 255));
    }
    QByteArray bytes;
    for (int noisy = 0; bytes.size() < target && noisy < image.width() * image.height(); noisy += 16) {
        for (int i = 0; i < 16; ++i) {
            const int pixel = noisy + i;
            image.setPixel(pixel % image.width(), pixel / image.width(), QRgb(random.next() | 0xff000000u));
        }
        bytes.clear();
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "PNG");
    }
    return bytes;
}

const QList<QByteArray> &imagePool()
{
    static const QList<QByteArray> pool = [] {
        Random random(7);
        QList<QByteArray> images;
        for (int i = 0; i < 48; ++i)
            images << pngOfSize(random, random.between(1024, 4096));
        return images;
    }();
    return pool;
}

// Structured-text code: statements over a small vocabulary, compressing like real code.
QByteArray codeText(Random &random, int size)
{
    static const char *const words[] = { "IF", "THEN", "ELSE", "END_IF;", "FOR", "TO", "DO", "END_FOR;",
                                         ":=", "+", "-", "*", "/", "AND", "OR", "NOT", "LIMIT(", "ABS(",
                                         ")", "(", "<", ">", "=", "REAL_TO_DINT(", "CASE", "OF" };
    QByteArray code(";type=\"code\" version=\"1\"\r\n\r\n");
    code.reserve(size + 100);
    while (code.size() < size) {
        code += QByteArray(random.between(0, 3) * 2, ' ');
        const int tokens = random.between(3, 12);
        for (int t = 0; t < tokens; ++t) {
            switch (random.between(0, 3)) {
            case 0: code += "x" + QByteArray::number(random.between(0, 40)); break;
            case 1: code += QByteArray::number(random.between(0, 5000)); break;
            default: code += words[random.between(0, int(std::size(words)) - 1)]; break;
            }
            code += ' ';
        }
        code += "\r\n";
    }
    return code;
}

Text names(const QString &german, const QString &english)
{
    Text text;
    text.setText(1, german);
    text.setText(2, english);
    return text;
}

QByteArray description(Random &random)
{
    QByteArray html("<h3>Funktion</h3><p>");
    const int sentences = random.between(2, 8);
    for (int i = 0; i < sentences; ++i)
        html += "Der Baustein berechnet Wert " + QByteArray::number(random.between(1, 99))
                + " aus den Eingängen und begrenzt ihn. ";
    return html + "</p>";
}

ParameterDefinition *parameterDefinition(Random &random, unsigned int number)
{
    const int kind = random.between(0, 2);
    ParameterText name;
    name.setShortText(1, QStringLiteral("P%1").arg(number));
    name.setLongText(1, QStringLiteral("Parameter %1").arg(number));
    name.setLongText(2, QStringLiteral("Parameter %1").arg(number));
    const auto setUp = [&](IParameterElementSetup *setup) {
        setup->setProperty(5, ParameterProperty(QVariant(unsigned(random.between(0, 4)))));
        setup->setProperty(6, ParameterProperty(QVariant(unsigned(random.between(2, 7)))));
        setup->setProperty(100, ParameterProperty(QVariant(0.0)));
        setup->setProperty(101, ParameterProperty(QVariant(double(random.between(10, 100000)))));
    };
    ParameterDefinition *definition = nullptr;
    if (kind == 2) {
        auto *record = new RecordParameterDefinition;
        const int elements = random.between(2, 6);
        for (int i = 0; i < elements; ++i) {
            setUp(record->createElement(static_cast<unsigned short>(i)));
            ParameterText elementName;
            elementName.setLongText(1, QStringLiteral("Element %1").arg(i));
            record->setElementName(static_cast<unsigned short>(i), elementName);
            record->setElementDefaultValue(static_cast<unsigned short>(i), QString::number(i));
        }
        definition = record;
    } else {
        auto *simple = new SimpleParameterDefinition;
        if (kind == 1)
            simple->setElementCount(static_cast<unsigned short>(random.between(2, 16)));
        setUp(simple->queryElementSetup(0));
        for (unsigned short i = 0; i < simple->elementCount(); ++i)
            simple->setElementDefaultValue(i, QString::number(random.between(0, 1000)));
        definition = simple;
    }
    definition->setName(name);
    definition->setDefaultCoordinates({ ParameterCoordinate(QChar(u'P'), number % 100000) });
    definition->setDescriptionText(QStringLiteral("<p>Beschreibung von Parameter %1.</p>").arg(number));
    return definition;
}

void fillVersion(Random &random, BlockDefinition *definition, bool toolLike)
{
    definition->setAccessLevelRead(unsigned(random.between(0, 3)));
    definition->setAccessLevelWrite(unsigned(random.between(3, 7)));
    const int pins = random.between(4, 12) - (toolLike ? 0 : 1); // the enable pin counts too
    const int inputs = random.between(1, pins - 1);
    static const unsigned char types[] = { 1, 4, 6, 7, 14, 15, 16 };
    QList<int> inputOrder;
    for (int number = 1; number <= pins; ++number) {
        BlockPin *pin = definition->createPin(number);
        pin->setFunction(number <= inputs ? eBlockPinFunctionInput : eBlockPinFunctionOutput);
        pin->setSimpleType(types[random.between(0, int(std::size(types)) - 1)]);
        pin->setShortName(QStringLiteral("P%1").arg(number));
        pin->setName(names(QStringLiteral("Anschluss %1").arg(number), QStringLiteral("Pin %1").arg(number)));
        if (number <= inputs)
            inputOrder.prepend(number);
    }
    if (random.percent(30))
        definition->defaultSkin()->setInputPinOrder(inputOrder);
    const QList<QByteArray> &images = imagePool();
    definition->setSmallListImage(QStringLiteral("png"), images.at(random.between(0, int(images.size()) - 1)));
    definition->setLargeListImage(QStringLiteral("png"), images.at(random.between(0, int(images.size()) - 1)));
    definition->setCodeText(codeText(random, random.between(2048, 20480)));
    definition->setDescriptionText(description(random));
}

QString userIdentifier(Random &random)
{
    return QString::asprintf("{%08x-%04x-4%03x-8%03x-%012llx}", unsigned(random.next()), unsigned(random.next() & 0xffff),
                             unsigned(random.next() & 0xfff), unsigned(random.next() & 0xfff),
                             (unsigned long long)(random.next() & 0xffffffffffffull));
}

} // namespace

void generateLibrary(BlockLibrary *library, int blocks, quint64 seed)
{
    Random random(seed);
    for (int i = 0; i < blocks; ++i) {
        const int kind = random.between(1, 100);
        const bool parameterBlock = kind <= 30;
        QString identifier;
        if (parameterBlock)
            identifier = QStringLiteral("StandardBlock_%1").arg(200000 + i);
        else if (kind <= 40)
            identifier = QStringLiteral("StandardBlock_%1").arg(1000 + i);
        else
            identifier = userIdentifier(random);
        Block *block = Block::createBlock(identifier);
        block->setShortName(QStringLiteral("B%1").arg(i));
        block->setName(names(QStringLiteral("Baustein Nr. %1 für Achsen").arg(i), QStringLiteral("Block no. %1").arg(i)));
        block->setGroupPath(QStringLiteral("%1/%2").arg(random.between(1, 10)).arg(random.between(1, 8)));
        const int versions = random.between(1, 3);
        for (int v = 0; v < versions; ++v) {
            BlockDefinition *definition = block->createDefinition();
            fillVersion(random, definition, false);
            if (parameterBlock) {
                const int count = random.between(1, 4);
                for (int p = 0; p < count; ++p) {
                    const unsigned int number = unsigned(i * 8 + p);
                    definition->attachParameterGeneralDefinition(number, parameterDefinition(random, number));
                }
            }
        }
        if (random.percent(5)) {
            BlockDefinition *definition = block->blockDefinition(block->versions().last());
            const int locals = random.between(1, 2);
            for (int l = 0; l < locals; ++l) {
                Block *local = Block::createBlock(userIdentifier(random));
                local->setShortName(QStringLiteral("L%1").arg(l));
                local->setName(names(QStringLiteral("Lokaler Baustein %1").arg(l), QStringLiteral("Local block %1").arg(l)));
                fillVersion(random, local->createDefinition(), false);
                definition->localBlockLibrary()->insertBlock(local);
            }
        }
        library->insertBlock(block);
    }
}

bool saveToNewFile(FileContainer *container, const QString &path)
{
    FileView file;
    file.create(path);
    if (!file.isOpen())
        return false;
    {
        std::unique_ptr<FileStorageView> root(file.createRootView());
        container->save(root.get());
    }
    file.close();
    return !file.hasError();
}

QString generatedLibraryFile(int blocks)
{
    static QTemporaryDir directory(QDir::tempPath() + QStringLiteral("/kvbench-libraries-XXXXXX"));
    static QHash<int, QString> files;
    const auto it = files.constFind(blocks);
    if (it != files.cend())
        return *it;
    if (!directory.isValid())
        return QString();
    const QString path = directory.filePath(QStringLiteral("library-%1.bli").arg(blocks));
    FileContainer container;
    generateLibrary(container.library(), blocks);
    if (!saveToNewFile(&container, path))
        return QString();
    files.insert(blocks, path);
    return path;
}

} // namespace KvBench
