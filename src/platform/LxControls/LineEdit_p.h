#pragma once

#include <QtCore/QString>

class LineEdit;

class LineEditPrivate
{
public:
    explicit LineEditPrivate(LineEdit *q);

    void commit();
    void restoreCommittedText();

    LineEdit *const q;
    QString committedText;
};
