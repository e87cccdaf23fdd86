#pragma once

// The one writer and reader of typed INI streams: every structured text stream of the
// library goes through these two classes, so that type lines, byte-order marks, line ends,
// encodings and number parsing are the same everywhere.

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

class FileStorageView;
class Text;

namespace LxIniParser {
class IniParser;
class IniSection;
}

enum class TextEncoding {
    Latin1, // text values through QString::toLatin1(); no byte-order mark
    Utf8,   // the stream starts with a byte-order-mark line; text values in UTF-8
};

/*
 * Builds a typed INI stream: the optional byte-order-mark line, the type line
 * `;type="<kind>" version="<n>"`, an empty line, then sections separated by one empty line.
 * Every line, the last included, ends with CR LF. Text values are written on one line:
 * each line break in them (CR LF, CR or LF) becomes one space.
 */
class TypedIniWriter
{
public:
    TypedIniWriter(const QString &kind, unsigned int version, TextEncoding encoding);

    void beginSection(const QByteArray &name);
    void addText(const QByteArray &key, const QString &value);
    void addNumber(const QByteArray &key, qint64 value);
    void addUnsigned(const QByteArray &key, quint64 value);
    void addFlag(const QByteArray &key, bool value);
    void addNumberList(const QByteArray &key, const QList<int> &values);
    void addNumberList(const QByteArray &key, const QList<unsigned int> &values);
    // One key per language of the text, in the text's language order.
    void addLanguages(const Text &text);
    // A line written exactly as given (without its CR LF), for lines that are not key lines.
    void addRawLine(const QByteArray &line);

    QByteArray data() const;
    void write(FileStorageView *storage, const QString &streamName) const;

private:
    QByteArray encode(const QString &value) const;

    TextEncoding m_encoding;
    QList<QByteArray> m_lines;
    bool m_inSection = false;
};

/*
 * Reads a typed INI stream. open() fails, applying nothing, when the stream is missing or
 * its type line names another kind or an unknown version. The value getters return false
 * and leave their output unchanged when a key is absent or its value does not convert.
 */
class TypedIniReader
{
public:
    TypedIniReader();
    ~TypedIniReader();

    // Looks the stream up by exact name in streamNames() and reads it. Accepts a stream
    // whose type line names `kind` with version 0.
    [[nodiscard]] bool open(const FileStorageView *storage, const QString &streamName, const QString &kind);
    // The same for bytes already read.
    [[nodiscard]] bool setData(const QByteArray &data, const QString &kind);

    // Text values decode as UTF-8 when forced or when the stream starts with the
    // byte-order mark, else as Latin-1.
    void setForceUtf8(bool force);

    bool hasSection(const QByteArray &section) const;
    QList<QByteArray> sectionNames() const;
    QList<QByteArray> keys(const QByteArray &section) const;
    bool contains(const QByteArray &section, const QByteArray &key) const;
    QByteArray rawValue(const QByteArray &section, const QByteArray &key) const;

    bool text(const QByteArray &section, const QByteArray &key, QString *value) const;
    bool number(const QByteArray &section, const QByteArray &key, int *value) const;
    bool unsignedNumber(const QByteArray &section, const QByteArray &key, unsigned int *value) const;
    // The pieces of a comma-separated list that convert; the rest are skipped.
    QList<int> numberList(const QByteArray &section, const QByteArray &key) const;
    QList<unsigned int> unsignedList(const QByteArray &section, const QByteArray &key) const;
    // A Text from the section's keys that are language numbers; false without the section.
    bool languages(const QByteArray &section, Text *value) const;

    QString decode(const QByteArray &bytes) const;

private:
    LxIniParser::IniSection *section(const QByteArray &name) const;

    std::unique_ptr<LxIniParser::IniParser> m_parser;
    bool m_forceUtf8 = false;
};

// A sub-storage whose name is a decimal number (parameter numbers, binaries, group segments).
struct NumberedStorage
{
    unsigned int number;
    FileStorageView *storage;
};

// The sub-storages of parent's sub-storage `name` whose names are decimal numbers that fit
// an unsigned int, in the order the storage lists them; empty when there is no such storage.
QList<NumberedStorage> numberedStorages(FileStorageView *parent, const QString &name);

// Stream names of a storage, compared exactly: the readers look a stream up before reading it.
bool hasStream(const FileStorageView *storage, const QString &name);
bool hasStorage(const FileStorageView *storage, const QString &name);
