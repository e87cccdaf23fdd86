#pragma once

#include "Text.h"

#include <QtWidgets/QLabel>

#include <QtCore/QList>
#include <QtCore/QPointer>
#include <QtCore/QString>

class QFormLayout;
class QLabel;
class QLineEdit;
class QWidget;
class TextWidgetProvider;

class TextWidgetProviderPrivate
{
public:
    // One registered text and the widgets of its row.
    struct Entry
    {
        QString label;
        Text text;
        int maxLength = 0;
        QPointer<QLabel> labelWidget;
        QPointer<QWidget> field; // holds the line edits; deleted with the form's widget
        QList<QLineEdit *> edits;
    };

    explicit TextWidgetProviderPrivate(TextWidgetProvider *q);

    Entry *entry(const QString &label);
    void removeRows();
    void buildRows();
    void buildField(Entry &entry);
    void convertTexts();
    void fillEdits(Entry &entry);

    TextWidgetProvider *const q;
    QPointer<QFormLayout> layout;
    int firstRow = -1;
    QList<Entry> entries;
    bool multilingual = false;
    int language = 1;
    bool readOnly = false;
};
