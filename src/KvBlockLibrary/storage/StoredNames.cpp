#include "StoredNames_p.h"

#include <QtCore/QRegularExpression>

namespace StoredNames {

namespace {

// Matches name against pattern and converts its first capture group. The conversion decides
// the range: a number of the right form that does not fit is told apart from no match.
template<typename Value>
Number captured(const QRegularExpression &pattern, const QString &name, Value *number)
{
    const QRegularExpressionMatch match = pattern.match(name);
    if (!match.hasMatch())
        return Number::NoMatch;
    bool ok = false;
    Value value;
    if constexpr (std::is_same_v<Value, int>)
        value = match.captured(1).toInt(&ok, 10);
    else
        value = match.captured(1).toUInt(&ok, 10);
    if (!ok)
        return Number::OutOfRange;
    *number = value;
    return Number::Valid;
}

} // namespace

Number versionStorage(const QString &name, unsigned int *version)
{
    static const QRegularExpression pattern(QStringLiteral("^V(\\d+)$"));
    return captured(pattern, name, version);
}

Number pinStream(const QString &name, int *pin)
{
    static const QRegularExpression pattern(QStringLiteral("^Pin_(\\d+)(\\.(\\w+))?$"));
    return captured(pattern, name, pin);
}

Number decimal(const QString &name, unsigned int *number)
{
    static const QRegularExpression pattern(QStringLiteral("^(\\d+)$"));
    return captured(pattern, name, number);
}

Number familyDefinitionStream(const QString &name, unsigned int *family)
{
    static const QRegularExpression pattern(QStringLiteral("^Family_(\\d+)\\.ini$"));
    return captured(pattern, name, family);
}

bool isUnreadFamilyDefinitionStream(const QString &name)
{
    static const QRegularExpression pattern(QStringLiteral("^Family_(\\d+)$"));
    return pattern.match(name).hasMatch();
}

Number familyBinaryStream(const QString &name, unsigned int *family)
{
    static const QRegularExpression pattern(QStringLiteral("^Family_(\\d+)\\.bin$"));
    return captured(pattern, name, family);
}

Number familySection(const QByteArray &section, unsigned int *family)
{
    static const QRegularExpression pattern(QStringLiteral("^Family_(\\d+)$"));
    return captured(pattern, QString::fromLatin1(section), family);
}

ListImage listImage(const QString &name, QString *suffix)
{
    static const QRegularExpression pattern(QStringLiteral("^(\\w+)(\\.(\\w+))?$"));
    const QRegularExpressionMatch match = pattern.match(name);
    if (!match.hasMatch())
        return ListImage::None;
    const QString lower = match.captured(3).toLower();
    if (lower != QLatin1String("bmp") && lower != QLatin1String("png"))
        return ListImage::None;
    const QString base = match.captured(1);
    const ListImage kind = base == QLatin1String("IconLarge") ? ListImage::Large
        : base == QLatin1String("IconSmall")                  ? ListImage::Small
                                                              : ListImage::None;
    if (kind != ListImage::None)
        *suffix = lower;
    return kind;
}

QString levelStreamParameter(const QString &name)
{
    // Anchored only at the start, and the last group reads a literal "w" repeated: any suffix
    // after a parameter name with an optional bracketed index is accepted. Kept so, since
    // stored libraries rely on what it accepts.
    static const QRegularExpression pattern(QStringLiteral("^((\\w+)(\\[(\\w+)\\])?)(\\.(w+))?"));
    const QRegularExpressionMatch match = pattern.match(name);
    return match.hasMatch() ? match.captured(1) : QString();
}

QStringList orderedStreams(const QByteArray &order)
{
    QStringList names;
    const QList<QByteArray> lines = order.split('\n');
    for (const QByteArray &rawLine : lines) {
        const QByteArray line = rawLine.trimmed();
        if (!line.isEmpty() && !line.startsWith(';'))
            names.append(QString::fromLatin1(line));
    }
    return names;
}

} // namespace StoredNames
