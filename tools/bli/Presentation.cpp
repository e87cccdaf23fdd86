#include "Presentation.h"

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockLibrary.h>
#include <KvDatatype/DatatypeProvider.h>

#include <QtCore/QJsonDocument>

#include <algorithm>
#include <cstdio>
#include <tuple>
#include <vector>

namespace Bli {

namespace {

int kindRank(const Block *block)
{
    if (block->isRootBlock())
        return 0;
    if (block->isSystemBlock())
        return 1;
    if (block->isStandardBlock())
        return 2;
    if (block->isTemplateBlock())
        return 3;
    if (block->isToolBlock())
        return 4;
    if (block->isMagicBlock())
        return 5;
    return 6;
}

bool hasNumber(const Block *block)
{
    const int rank = kindRank(block);
    return rank >= 1 && rank <= 5;
}

unsigned int numberOf(const Block *block)
{
    if (block->isSystemBlock())
        return block->systemBlockNumber();
    if (block->isStandardBlock())
        return block->standardBlockNumber();
    if (block->isTemplateBlock())
        return block->templateBlockNumber();
    if (block->isToolBlock())
        return block->toolBlockNumber();
    if (block->isMagicBlock())
        return block->magicBlockNumber();
    return 0;
}

} // namespace

QString kindName(const Block *block)
{
    static const char *const names[] = { "root", "system", "standard", "template", "tool", "magic" };
    const int rank = kindRank(block);
    if (rank < 6)
        return QString::fromLatin1(names[rank]);
    return block->isLocalBlock() ? QStringLiteral("local") : QStringLiteral("user");
}

QStringList kindNames()
{
    return { QStringLiteral("root"), QStringLiteral("system"), QStringLiteral("standard"), QStringLiteral("template"),
             QStringLiteral("tool"), QStringLiteral("magic"), QStringLiteral("user"), QStringLiteral("local") };
}

QString numberOrIdentifier(const Block *block)
{
    return hasNumber(block) ? QString::number(numberOf(block)) : block->identifier();
}

QJsonValue blockNumber(const Block *block)
{
    return hasNumber(block) ? QJsonValue(qint64(numberOf(block))) : QJsonValue();
}

QString quoted(const QString &text)
{
    QString result;
    result.reserve(text.size() + 2);
    result += QLatin1Char('"');
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '"': result += QLatin1String("\\\""); break;
        case '\\': result += QLatin1String("\\\\"); break;
        case '\n': result += QLatin1String("\\n"); break;
        case '\r': result += QLatin1String("\\r"); break;
        case '\t': result += QLatin1String("\\t"); break;
        default:
            if (c.unicode() < 0x20)
                result += QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
            else
                result += c;
        }
    }
    result += QLatin1Char('"');
    return result;
}

QString shortNameField(const QString &shortName)
{
    return shortName.isEmpty() ? QStringLiteral("-") : shortName;
}

QJsonObject textToJson(const Text &text)
{
    QJsonObject object;
    const QList<int> languages = text.textLanguages();
    for (int language : languages)
        object.insert(QString::number(language), text.text(language));
    return object;
}

QList<Block *> sortedBlocks(const BlockLibrary *library, const QList<QString> &identifiers)
{
    // Classifying matches the identifier against the kind patterns: once per block, not per
    // comparison.
    using Key = std::tuple<int, unsigned int, QString, Block *>;
    std::vector<Key> keys;
    keys.reserve(size_t(identifiers.size()));
    for (const QString &identifier : identifiers) {
        if (Block *block = library->block(identifier))
            keys.emplace_back(kindRank(block), numberOf(block), identifier, block);
    }
    std::sort(keys.begin(), keys.end());
    QList<Block *> blocks;
    blocks.reserve(qsizetype(keys.size()));
    for (const Key &key : keys)
        blocks << std::get<3>(key);
    return blocks;
}

QStringList groupSegments(const QString &groupPath)
{
    return groupPath.isEmpty() ? QStringList() : groupPath.split(QLatin1Char('/'));
}

QString segmentName(const QString &segment, const QHash<unsigned int, Text> &names)
{
    bool ok = false;
    const unsigned int number = segment.toUInt(&ok, 10);
    if (ok && names.contains(number)) {
        const QString name = names.value(number).text();
        if (!name.isEmpty())
            return name;
    }
    return segment;
}

QString datatypeName(unsigned char code)
{
    if (!DatatypeProvider::instance()->contains(code))
        return QString::number(code);
    return DatatypeProvider::instance()->simpleType(code).shortName();
}

QString familyName(unsigned int family)
{
    return family == 0xFFFFFFFFu ? QStringLiteral("general") : QStringLiteral("family %1").arg(family);
}

QJsonValue familyToJson(unsigned int family)
{
    return family == 0xFFFFFFFFu ? QJsonValue(QStringLiteral("general")) : QJsonValue(qint64(family));
}

QString escapeName(const QString &name)
{
    QString result;
    result.reserve(name.size());
    for (const QChar c : name) {
        if (c == QLatin1Char('%') || c == QLatin1Char('/') || c.unicode() < 0x20 || c.unicode() == 0x7f)
            result += QStringLiteral("%%1").arg(c.unicode(), 2, 16, QLatin1Char('0')).toUpper();
        else
            result += c;
    }
    return result;
}

QString unescapeName(const QString &name)
{
    QString result;
    result.reserve(name.size());
    for (qsizetype i = 0; i < name.size(); ++i) {
        bool ok = false;
        const uint code = name.mid(i + 1, 2).toUInt(&ok, 16);
        if (name.at(i) == QLatin1Char('%') && i + 2 < name.size() && ok) {
            result += QChar(char16_t(code));
            i += 2;
        } else {
            result += name.at(i);
        }
    }
    return result;
}

void printLine(const QString &line)
{
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
}

void printLines(const QStringList &lines)
{
    for (const QString &line : lines)
        printLine(line);
}

void printJson(const QJsonObject &object)
{
    printBytes(QJsonDocument(object).toJson(QJsonDocument::Indented));
}

void printBytes(const QByteArray &bytes)
{
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
}

} // namespace Bli
