#include "BlockType.h"

#include <QtCore/QMutex>
#include <QtCore/QMutexLocker>
#include <QtCore/QRegularExpression>
#include <QtCore/QUuid>

namespace {

const QString SystemPrefix = QStringLiteral("SystemBlock_");
const QString StandardPrefix = QStringLiteral("StandardBlock_");
const QString TemplatePrefix = QStringLiteral("TemplateBlock_");
const QString ToolPrefix = QStringLiteral("ToolBlock_");
const QString MagicPrefix = QStringLiteral("MagicBlock_");
const QString RootIdentifier = QStringLiteral("RootBlock");

QString numberedPattern(const QString &prefix)
{
    return QLatin1Char('^') + prefix + QStringLiteral("(\\d*)$");
}

// One shared set of compiled expressions for the whole process, each with the mutex that
// serialises its use: matching is cheap, and one lock per kind keeps unrelated callers apart.
struct Classifier
{
    explicit Classifier(const QString &pattern)
        : expression(pattern)
    {
    }
    const QRegularExpression expression;
    QMutex mutex;
};

Classifier &systemClassifier()
{
    static Classifier classifier(numberedPattern(SystemPrefix));
    return classifier;
}

Classifier &standardClassifier()
{
    static Classifier classifier(numberedPattern(StandardPrefix));
    return classifier;
}

Classifier &templateClassifier()
{
    static Classifier classifier(numberedPattern(TemplatePrefix));
    return classifier;
}

Classifier &toolClassifier()
{
    static Classifier classifier(numberedPattern(ToolPrefix));
    return classifier;
}

Classifier &magicClassifier()
{
    static Classifier classifier(numberedPattern(MagicPrefix));
    return classifier;
}

Classifier &rootClassifier()
{
    static Classifier classifier(QLatin1Char('^') + RootIdentifier + QLatin1Char('$'));
    return classifier;
}

QMutex &userMutex()
{
    static QMutex mutex;
    return mutex;
}

bool classify(Classifier &classifier, const QString &identifier, unsigned int *number)
{
    QMutexLocker locker(&classifier.mutex);
    return BlockType::verifyIdentifier(classifier.expression, identifier, number);
}

} // namespace

bool BlockType::verifyIdentifier(const QRegularExpression &expression, const QString &identifier,
                                 unsigned int *number)
{
    const QRegularExpressionMatch match = expression.match(identifier);
    if (!match.hasMatch())
        return false;
    if (number) {
        // The success flag is deliberately ignored: an empty or overflowing number reads as 0.
        *number = static_cast<unsigned int>(match.captured(1).toULong(nullptr, 10));
    }
    return true;
}

bool BlockType::isIdentifierSystem(const QString &identifier, unsigned int *number)
{
    return classify(systemClassifier(), identifier, number);
}

bool BlockType::isIdentifierStandard(const QString &identifier, unsigned int *number)
{
    return classify(standardClassifier(), identifier, number);
}

bool BlockType::isIdentifierTemplate(const QString &identifier, unsigned int *number)
{
    return classify(templateClassifier(), identifier, number);
}

bool BlockType::isIdentifierTool(const QString &identifier, unsigned int *number)
{
    return classify(toolClassifier(), identifier, number);
}

bool BlockType::isIdentifierMagic(const QString &identifier, unsigned int *number)
{
    return classify(magicClassifier(), identifier, number);
}

bool BlockType::isIdentifierRoot(const QString &identifier)
{
    Classifier &root = rootClassifier();
    QMutexLocker locker(&root.mutex);
    return root.expression.match(identifier).hasMatch();
}

bool BlockType::isIdentifierUser(const QString &identifier)
{
    QMutexLocker locker(&userMutex());
    return !QUuid(identifier).isNull();
}

bool BlockType::isValid(const QString &identifier)
{
    return isIdentifierSystem(identifier, nullptr)
        || isIdentifierTemplate(identifier, nullptr)
        || isIdentifierStandard(identifier, nullptr)
        || isIdentifierTool(identifier, nullptr)
        || isIdentifierMagic(identifier, nullptr)
        || isIdentifierRoot(identifier)
        || isIdentifierUser(identifier);
}
