#pragma once

// An in-memory storage file for one test: the root view lives as long as the object and is
// released before the file is closed, as the file engine requires.

#include <LxFileSystem/FileStorageView.h>
#include <LxFileSystem/FileView.h>

#include <memory>

class ScratchStorage
{
public:
    ScratchStorage()
    {
        m_file.create(QString());
        if (m_file.isOpen())
            m_root.reset(m_file.createRootView());
    }
    ~ScratchStorage()
    {
        m_root.reset();
        if (m_file.isOpen())
            m_file.close();
    }

    // Null when the scratch file could not be created; tests check isValid() first.
    bool isValid() const { return m_root != nullptr; }
    FileStorageView *root() const { return m_root.get(); }

private:
    FileView m_file;
    std::unique_ptr<FileStorageView> m_root;
    Q_DISABLE_COPY(ScratchStorage)
};
