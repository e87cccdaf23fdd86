#include "CrcFileStorageView.h"

#include <LxUtilities/ByteArraySupport.h>

#include <algorithm>

CrcFileStorageView::CrcFileStorageView(CrcFileStorageView *parent)
    : FileStorageView(parent)
{
}

CrcFileStorageView::~CrcFileStorageView() = default;

bool CrcFileStorageView::isReadOnly() const
{
    return false;
}

void CrcFileStorageView::clear()
{
    qDeleteAll(m_storages);
    m_storages.clear();
    m_streams.clear();
}

QString CrcFileStorageView::name() const
{
    return QString();
}

QString CrcFileStorageView::path() const
{
    return QString();
}

QStringList CrcFileStorageView::streamNames() const
{
    return m_streams.keys();
}

QStringList CrcFileStorageView::storageNames() const
{
    return m_storages.keys();
}

void CrcFileStorageView::writeStream(const QString &name, const QByteArray &data)
{
    m_streams.insert(name, data);
}

QByteArray CrcFileStorageView::readStream(const QString &name) const
{
    return m_streams.value(name);
}

FileStorageView *CrcFileStorageView::storage(const QString &name)
{
    CrcFileStorageView *&child = m_storages[name];
    if (!child)
        child = new CrcFileStorageView(this);
    return child;
}

QByteArray CrcFileStorageView::toByteArray() const
{
    return QByteArray();
}

bool CrcFileStorageView::fromByteArray(const QByteArray &)
{
    return false;
}

void CrcFileStorageView::removeStream(const QString &)
{
}

QByteArray CrcFileStorageView::canonicalText() const
{
    QByteArray text;
    QStringList streams = m_streams.keys();
    std::sort(streams.begin(), streams.end());
    for (const QString &name : std::as_const(streams)) {
        // Names are taken as Latin-1 renders them, without any escaping.
        text += "<stream name=\"" + name.toLatin1() + "\">\n";
        text += "<data>" + m_streams.value(name).toHex() + "</data>\n";
        text += "</stream>\n";
    }
    QStringList storages = m_storages.keys();
    std::sort(storages.begin(), storages.end());
    for (const QString &name : std::as_const(storages)) {
        if (name == QLatin1String("Images"))
            continue;
        text += "<storage name=\"" + name.toLatin1() + "\">\n";
        text += m_storages.value(name)->canonicalText();
        text += "\n</storage>";
    }
    return text;
}

unsigned int CrcFileStorageView::checksum() const
{
    QByteArray text = canonicalText();
    return LxByteArraySupport::ByteArraySupport(text, false).crc32();
}
