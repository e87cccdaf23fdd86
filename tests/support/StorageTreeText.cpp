#include "StorageTreeText.h"

#include <LxFileSystem/FileStorageView.h>

#include <QtCore/QCryptographicHash>

namespace StorageTreeText {

namespace {

QString escaped(const QString &name)
{
    QString text;
    for (const QChar c : name) {
        const ushort u = c.unicode();
        if (u < 0x20 || u >= 0x7f || c == QLatin1Char('/') || c == QLatin1Char('\\'))
            text += QStringLiteral("\\u%1").arg(u, 4, 16, QLatin1Char('0'));
        else
            text += c;
    }
    return text;
}

QString describe(const QByteArray &data)
{
    if (data.size() <= 16)
        return QString::fromLatin1(data.toHex());
    return QStringLiteral("sha1:")
            + QString::fromLatin1(QCryptographicHash::hash(data, QCryptographicHash::Sha1).toHex().left(16));
}

void collect(FileStorageView *view, const QString &prefix, QStringList *out)
{
    for (const QString &name : view->streamNames()) {
        const QByteArray data = view->readStream(name);
        *out << QStringLiteral("stream %1%2 %3 %4").arg(prefix, escaped(name)).arg(data.size()).arg(describe(data));
    }
    for (const QString &name : view->storageNames()) {
        const QString path = prefix + escaped(name);
        *out << QStringLiteral("storage %1").arg(path);
        collect(view->storage(name), path + QLatin1Char('/'), out);
    }
}

} // namespace

QStringList lines(FileStorageView *view)
{
    QStringList out;
    if (view)
        collect(view, QString(), &out);
    out.sort();
    return out;
}

void write(FileStorageView *root, const QList<QPair<QString, QByteArray>> &streams)
{
    for (const auto &stream : streams) {
        QStringList parts = stream.first.split(QLatin1Char('/'));
        const QString name = parts.takeLast();
        FileStorageView *view = root;
        for (const QString &part : parts)
            view = view->storage(part);
        view->writeStream(name, stream.second);
    }
}

} // namespace StorageTreeText
