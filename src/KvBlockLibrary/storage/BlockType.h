#pragma once

#include <KvBlockLibrary/kvblocklibrary_export.h>

#include <QtCore/QString>

class QRegularExpression;

/*
 * Classifies block identifiers. The identifier alone says what kind of block it is:
 *   SystemBlock_<digits>, StandardBlock_<digits>, TemplateBlock_<digits>, ToolBlock_<digits>,
 *   MagicBlock_<digits>, RootBlock, or a UUID (user blocks).
 * The digits may be empty or carry leading zeros; their value is the block's number, and a
 * value beyond the range of an unsigned long reads as 0. The expressions follow Perl's
 * rules: "$" also matches before one line feed that ends the identifier.
 *
 * Thread-safe: every classifier may be called from any thread.
 */
class KVBLOCKLIBRARY_EXPORT BlockType
{
public:
    BlockType() = delete;

    // The numbered classifiers store the number in *number on a match when number is not
    // null, and leave it untouched otherwise.
    static bool isIdentifierSystem(const QString &identifier, unsigned int *number);
    static bool isIdentifierStandard(const QString &identifier, unsigned int *number);
    static bool isIdentifierTemplate(const QString &identifier, unsigned int *number);
    static bool isIdentifierTool(const QString &identifier, unsigned int *number);
    static bool isIdentifierMagic(const QString &identifier, unsigned int *number);
    static bool isIdentifierRoot(const QString &identifier);
    // A UUID in text form, with or without braces, other than the nil UUID.
    static bool isIdentifierUser(const QString &identifier);
    // Whether the identifier belongs to any of the seven kinds.
    static bool isValid(const QString &identifier);

    // The numbered match for any expression whose first capture group holds the number.
    // Takes no lock: the caller owns the expression.
    static bool verifyIdentifier(const QRegularExpression &expression, const QString &identifier,
                                 unsigned int *number);
};
