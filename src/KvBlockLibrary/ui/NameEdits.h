#pragma once

#include <KvMultilingual/Text.h>
#include <KvMultilingual/TextWidgetProvider.h>

// How the views show a block's or a pin's name in the line edits of a text provider: one
// labelled row of at most 50 characters, an edit per language for a multilingual name, and
// one edit in language 2 for a monolingual one. The rows are built anew, so the caller gives
// them its read-only look afterwards.
namespace NameEdits {

constexpr int MaxLength = 50;
// The language a monolingual name is shown and edited in.
constexpr int MonolingualLanguage = 2;

inline void show(TextWidgetProvider &provider, const QString &label, const Text &name)
{
    provider.clear();
    provider.addText(label, name, MaxLength);
    if (name.isMultilingual())
        provider.setMultilingual();
    else
        provider.setMonolingual(MonolingualLanguage);
}

} // namespace NameEdits
