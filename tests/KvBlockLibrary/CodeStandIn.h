#pragma once

// What the version tests share: a code text with its type line, and a stand-in for the code
// editor that counts what a definition asks of it and hands over the texts it was given.

#include <KvBlockLibrary/BlockDefinition.h>
#include <KvCodeEditor/BlockCode.h>

inline QByteArray codeStream(unsigned int version, const QByteArray &body)
{
    return ";type=\"code\" version=\"" + QByteArray::number(version) + "\"\r\n" + body;
}

// save() stores a non-empty editedText, as the editor stores the text under edit; the
// comparison update stores a non-null compareText.
struct CodeStandIn : BlockCode
{
    explicit CodeStandIn(BlockDefinition *definition = nullptr, const QByteArray &editedText = {}, const QByteArray &compareText = {})
        : definition(definition), editedText(editedText), compareText(compareText) {}
    void save() override { ++saves; if (definition && !editedText.isEmpty()) definition->setCodeText(editedText); }
    void updateDefinitionCodeTextForCompareCrc() override
    {
        ++updates;
        if (definition && !compareText.isNull())
            definition->setCodeTextForCompareCrc(compareText);
    }
    BlockDefinition *const definition;
    const QByteArray editedText, compareText;
    int saves = 0, updates = 0;
};
