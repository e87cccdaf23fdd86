// crc and diff: comparison values of versions, and what differs between two libraries.
#include "Commands.h"
#include "LibraryAccess.h"
#include "Presentation.h"

#include <KvBlockLibrary/Block.h>
#include <KvBlockLibrary/BlockDefinition.h>
#include <KvBlockLibrary/BlockLibrary.h>

#include <QtCore/QJsonArray>

#include <set>

namespace Bli {

namespace {

QJsonObject valueJson(const Block *block, BlockDefinition *definition)
{
    QJsonObject object;
    object.insert(QStringLiteral("identifier"), block->identifier());
    object.insert(QStringLiteral("version"), qint64(definition->version()));
    object.insert(QStringLiteral("value"), QString::fromLatin1(definition->compareCrc32Value()));
    return object;
}

} // namespace

int runCrc(const Invocation &invocation)
{
    OpenedLibrary opened(invocation.argument(0));
    if (invocation.arguments.size() == 3) {
        Block *block = opened.findBlock(invocation.argument(1));
        BlockDefinition *definition = OpenedLibrary::findVersion(block, invocation.argument(2));
        if (invocation.json)
            printJson(valueJson(block, definition));
        else
            printLine(QString::fromLatin1(definition->compareCrc32Value()));
        return ExitSuccess;
    }

    QList<Block *> blocks;
    if (invocation.arguments.size() == 2)
        blocks << opened.findBlock(invocation.argument(1));
    else
        blocks = sortedBlocks(opened.library(), opened.library()->blockIdentifiers());
    QJsonArray values;
    QStringList lines;
    for (const Block *block : blocks) {
        const QList<unsigned int> versions = block->versions();
        for (unsigned int version : versions) {
            BlockDefinition *definition = block->blockDefinition(version);
            if (invocation.json) {
                values.append(valueJson(block, definition));
            } else {
                lines << QStringLiteral("%1 V%2 %3")
                                 .arg(block->identifier())
                                 .arg(version)
                                 .arg(QString::fromLatin1(definition->compareCrc32Value()));
            }
        }
    }
    if (invocation.json) {
        QJsonObject object;
        object.insert(QStringLiteral("file"), opened.path());
        object.insert(QStringLiteral("values"), values);
        printJson(object);
    } else {
        printLines(lines);
    }
    return ExitSuccess;
}

namespace {

// Collects the differences in text and JSON form alike.
class Differences
{
public:
    void block(const QString &change, const Block *block)
    {
        m_lines << QStringLiteral("%1 %2 %3").arg(marker(change), block->identifier(), shortNameField(block->shortName()));
        QJsonObject object = base(change, block->identifier());
        m_json.append(object);
    }

    void version(const QString &change, const Block *block, unsigned int version)
    {
        m_lines << QStringLiteral("%1 %2 V%3").arg(marker(change), block->identifier()).arg(version);
        QJsonObject object = base(change, block->identifier());
        object.insert(QStringLiteral("version"), qint64(version));
        m_json.append(object);
    }

    void field(const Block *block, const QString &field, const QString &a, const QString &b)
    {
        m_lines << QStringLiteral("~ %1 %2 %3 -> %4").arg(block->identifier(), field, quoted(a), quoted(b));
        QJsonObject object = base(QStringLiteral("changed"), block->identifier());
        object.insert(QStringLiteral("field"), field);
        object.insert(QStringLiteral("a"), a);
        object.insert(QStringLiteral("b"), b);
        m_json.append(object);
    }

    void versionField(const Block *block, unsigned int version, const QString &field, const QString &a,
                      const QString &b)
    {
        m_lines << (a.isEmpty() ? QStringLiteral("~ %1 V%2 %3").arg(block->identifier()).arg(version).arg(field)
                                : QStringLiteral("~ %1 V%2 %3 %4 -> %5")
                                          .arg(block->identifier())
                                          .arg(version)
                                          .arg(field, a, b));
        QJsonObject object = base(QStringLiteral("changed"), block->identifier());
        object.insert(QStringLiteral("version"), qint64(version));
        object.insert(QStringLiteral("field"), field);
        if (!a.isEmpty()) {
            object.insert(QStringLiteral("a"), a);
            object.insert(QStringLiteral("b"), b);
        }
        m_json.append(object);
    }

    bool isEmpty() const { return m_lines.isEmpty(); }
    const QStringList &lines() const { return m_lines; }
    const QJsonArray &json() const { return m_json; }

private:
    static QString marker(const QString &change)
    {
        return change == QLatin1String("added") ? QStringLiteral("+") : QStringLiteral("-");
    }

    static QJsonObject base(const QString &change, const QString &identifier)
    {
        QJsonObject object;
        object.insert(QStringLiteral("change"), change);
        object.insert(QStringLiteral("identifier"), identifier);
        return object;
    }

    QStringList m_lines;
    QJsonArray m_json;
};

QString languagesText(const Text &text)
{
    QStringList parts;
    const QList<int> languages = text.textLanguages();
    for (int language : languages)
        parts << QStringLiteral("%1=%2").arg(language).arg(text.text(language));
    return parts.join(QLatin1Char(' '));
}

void compareBlocks(const Block *a, const Block *b, Differences *differences)
{
    if (a->shortName() != b->shortName())
        differences->field(a, QStringLiteral("short name"), a->shortName(), b->shortName());
    if (a->name() != b->name())
        differences->field(a, QStringLiteral("name"), languagesText(a->name()), languagesText(b->name()));
    if (a->groupPath() != b->groupPath())
        differences->field(a, QStringLiteral("group path"), a->groupPath(), b->groupPath());

    std::set<unsigned int> versions;
    for (unsigned int version : a->versions())
        versions.insert(version);
    for (unsigned int version : b->versions())
        versions.insert(version);
    for (unsigned int version : versions) {
        BlockDefinition *inA = a->blockDefinition(version);
        BlockDefinition *inB = b->blockDefinition(version);
        if (!inB) {
            differences->version(QStringLiteral("removed"), a, version);
        } else if (!inA) {
            differences->version(QStringLiteral("added"), b, version);
        } else {
            const QByteArray valueA = inA->compareCrc32Value();
            const QByteArray valueB = inB->compareCrc32Value();
            if (valueA != valueB) {
                differences->versionField(a, version, QStringLiteral("comparison value"),
                                          QString::fromLatin1(valueA), QString::fromLatin1(valueB));
            }
            // The comparison value takes its code text from the code editor, which a file on
            // its own does not have; the stored code is compared directly.
            if (inA->codeText() != inB->codeText())
                differences->versionField(a, version, QStringLiteral("code"), QString(), QString());
        }
    }
}

} // namespace

int runDiff(const Invocation &invocation)
{
    OpenedLibrary first(invocation.argument(0));
    OpenedLibrary second(invocation.argument(1));
    BlockLibrary *a = first.library();
    BlockLibrary *b = second.library();

    // Every identifier of both, in the order of the first library and then of the second.
    QList<Block *> order = sortedBlocks(a, a->blockIdentifiers());
    const QList<Block *> onlyB = sortedBlocks(b, b->blockIdentifiers());
    for (Block *block : onlyB) {
        if (!a->containsBlock(block->identifier()))
            order << block;
    }

    Differences differences;
    for (const Block *block : std::as_const(order)) {
        const Block *inA = a->block(block->identifier());
        const Block *inB = b->block(block->identifier());
        if (!inB)
            differences.block(QStringLiteral("removed"), inA);
        else if (!inA)
            differences.block(QStringLiteral("added"), inB);
        else
            compareBlocks(inA, inB, &differences);
    }

    if (invocation.json) {
        QJsonObject object;
        object.insert(QStringLiteral("a"), first.path());
        object.insert(QStringLiteral("b"), second.path());
        object.insert(QStringLiteral("differences"), differences.json());
        printJson(object);
    } else {
        printLines(differences.lines());
    }
    return differences.isEmpty() ? ExitSuccess : ExitFinding;
}

} // namespace Bli
