#pragma once

#include "FuzzCheck.h"

#include <LxFileSystem/FileStorageView.h>

#include <QtCore/QStringList>

// Reads every storage and stream below view into sorted lines (path, size and the bytes'
// hash), so that two walks of the same tree compare equal.
inline void walkTree(FileStorageView *view, const QString &prefix, QStringList *lines)
{
    for (const QString &name : view->streamNames()) {
        const QByteArray data = view->readStream(name);
        lines->append(QStringLiteral("stream %1%2 %3 %4").arg(prefix, name).arg(data.size()).arg(qHash(data)));
    }
    for (const QString &name : view->storageNames()) {
        lines->append(QStringLiteral("storage %1%2").arg(prefix, name));
        walkTree(view->storage(name), prefix + name + QLatin1Char('/'), lines);
    }
}

inline QStringList treeLines(FileStorageView *view)
{
    QStringList lines;
    walkTree(view, QString(), &lines);
    lines.sort();
    return lines;
}
