#include "TextWidgetProvider.h"
#include "TextWidgetProvider_p.h"

#include "LanguageManager.h"

#include <QtWidgets/QFormLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QWidget>

TextWidgetProviderPrivate::TextWidgetProviderPrivate(TextWidgetProvider *q)
    : q(q)
{
}

TextWidgetProviderPrivate::Entry *TextWidgetProviderPrivate::entry(const QString &label)
{
    for (Entry &e : entries) {
        if (e.label == label)
            return &e;
    }
    return nullptr;
}

void TextWidgetProviderPrivate::removeRows()
{
    for (Entry &e : entries) {
        // The form may already be gone with its widget; the guarded pointers then read null.
        if (layout && e.field)
            layout->removeRow(e.field);
        delete e.labelWidget;
        delete e.field;
        e.edits.clear();
    }
}

void TextWidgetProviderPrivate::buildRows()
{
    removeRows();
    if (!layout)
        return;
    int row = firstRow < 0 || firstRow > layout->rowCount() ? layout->rowCount() : firstRow;
    for (Entry &e : entries) {
        e.labelWidget = new QLabel(e.label);
        buildField(e);
        layout->insertRow(row++, e.labelWidget, e.field);
        e.labelWidget->setBuddy(e.edits.value(0));
    }
}

void TextWidgetProviderPrivate::buildField(Entry &entry)
{
    entry.field = new QWidget;
    auto *form = new QFormLayout(entry.field);
    form->setContentsMargins(0, 0, 0, 0);
    // The languages of one text sit close together, apart from the form's other rows.
    form->setVerticalSpacing(2);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    LanguageManager *languages = LanguageManager::instance();
    const QList<int> shown = multilingual ? languages->languageList() : QList<int>{language};
    QWidget *previous = nullptr;
    for (int lang : shown) {
        auto *edit = new QLineEdit(entry.field);
        edit->setMaxLength(entry.maxLength);
        edit->setReadOnly(readOnly);
        edit->setProperty("language", lang);
        // A single edit needs no language label: the row's label says what it is.
        if (multilingual)
            form->addRow(languages->languageName(lang), edit);
        else
            form->addRow(edit);
        QObject::connect(edit, &QLineEdit::textEdited, q, [this, label = entry.label, lang](const QString &value) {
            if (Entry *e = this->entry(label)) {
                e->text.setText(lang, value);
                Q_EMIT q->modified();
            }
        });
        if (previous)
            QWidget::setTabOrder(previous, edit);
        previous = edit;
        entry.edits.append(edit);
    }
    entry.field->setFocusProxy(entry.edits.value(0));
    fillEdits(entry);
}

void TextWidgetProviderPrivate::convertTexts()
{
    for (Entry &e : entries) {
        if (multilingual)
            e.text.convertToMultilingual();
        else
            e.text.convertToMonolingual(language);
    }
}

void TextWidgetProviderPrivate::fillEdits(Entry &entry)
{
    for (QLineEdit *edit : entry.edits)
        edit->setText(entry.text.text(edit->property("language").toInt()));
}

TextWidgetProvider::TextWidgetProvider(QObject *parent)
    : QObject(parent)
    , d(new TextWidgetProviderPrivate(this))
{
}

TextWidgetProvider::~TextWidgetProvider()
{
    d->removeRows();
    delete d;
}

void TextWidgetProvider::setFormLayout(QFormLayout *layout, int row)
{
    d->removeRows();
    d->layout = layout;
    d->firstRow = row;
    d->buildRows();
}

QFormLayout *TextWidgetProvider::formLayout() const
{
    return d->layout;
}

void TextWidgetProvider::addText(const QString &label, const Text &text, int maxLength)
{
    if (TextWidgetProviderPrivate::Entry *e = d->entry(label)) {
        e->text = text;
        e->maxLength = maxLength;
    } else {
        TextWidgetProviderPrivate::Entry entry;
        entry.label = label;
        entry.text = text;
        entry.maxLength = maxLength;
        d->entries.append(entry);
    }
    d->buildRows();
}

void TextWidgetProvider::setText(const QString &label, const Text &text)
{
    if (TextWidgetProviderPrivate::Entry *e = d->entry(label)) {
        e->text = text;
        d->fillEdits(*e);
    }
}

Text TextWidgetProvider::text(const QString &label) const
{
    const TextWidgetProviderPrivate::Entry *e = d->entry(label);
    return e ? e->text : Text();
}

QStringList TextWidgetProvider::labels() const
{
    QStringList result;
    for (const TextWidgetProviderPrivate::Entry &e : d->entries)
        result.append(e.label);
    return result;
}

void TextWidgetProvider::setMultilingual()
{
    d->multilingual = true;
    d->convertTexts();
    d->buildRows();
}

void TextWidgetProvider::setMonolingual(int language)
{
    d->multilingual = false;
    d->language = language;
    d->convertTexts();
    d->buildRows();
}

bool TextWidgetProvider::isMultilingual() const
{
    return d->multilingual;
}

int TextWidgetProvider::monolingualLanguage() const
{
    return d->language;
}

void TextWidgetProvider::setReadOnly(bool readOnly)
{
    d->readOnly = readOnly;
    for (QLineEdit *edit : lineEdits())
        edit->setReadOnly(readOnly);
}

bool TextWidgetProvider::isReadOnly() const
{
    return d->readOnly;
}

void TextWidgetProvider::clear()
{
    d->removeRows();
    d->entries.clear();
}

QList<QLineEdit *> TextWidgetProvider::lineEdits() const
{
    QList<QLineEdit *> result;
    for (const TextWidgetProviderPrivate::Entry &e : d->entries)
        result += e.edits;
    return result;
}
