#pragma once

#include <LxUtilities/lxutilities_export.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>

namespace LxIniParser {

class IniSectionPrivate;

/*
 * One section of a parsed INI text: its keys in file order and their raw values (the bytes
 * after the first "=" up to the end of the line, neither trimmed nor decoded). A key that
 * occurs twice keeps its first position and its last value. Sections belong to the
 * IniParser that made them.
 */
class LXUTILITIES_EXPORT IniSection
{
public:
    explicit IniSection(const QByteArray &name);
    ~IniSection();

    QByteArray name() const;
    QList<QByteArray> keys() const;
    bool contains(const QByteArray &key) const;
    // The raw value; empty when the key is absent (use contains() to tell "Key=" from no key).
    QByteArray value(const QByteArray &key) const;

    void setValue(const QByteArray &key, const QByteArray &value);

private:
    IniSectionPrivate *const d;
    Q_DISABLE_COPY(IniSection)
};

} // namespace LxIniParser
