#pragma once

class QTextEdit;

class TextEditWidgetPrivate
{
public:
    QTextEdit *edit = nullptr; // child of the public widget
    bool settingContent = false; // true while the program replaces the content
    bool modified = false; // changed by the user since the content was last set
    bool unfinished = false; // changed by the user since the last editingFinished()
};
