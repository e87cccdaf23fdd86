#include "LanguageManager.h"
#include "LanguageManager_p.h"

#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialog>
#include <QtWidgets/QDialogButtonBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

LanguageManager *LanguageManager::instance()
{
    // Function-local static: created on first use, thread-safe, destroyed at exit.
    static LanguageManager manager;
    return &manager;
}

LanguageManager::LanguageManager()
    : d(new LanguageManagerPrivate)
{
    d->languages.insert(1, tr("Deutsch"));
    d->languages.insert(2, tr("Englisch"));
    d->languages.insert(3, tr("Französisch"));
}

LanguageManager::~LanguageManager()
{
    delete d;
}

QList<int> LanguageManager::languageList() const
{
    return d->languages.keys();
}

QString LanguageManager::languageName(int language) const
{
    return d->languages.value(language);
}

bool LanguageManager::containsLanguage(int language) const
{
    return d->languages.contains(language);
}

int LanguageManager::currentLanguage() const
{
    return d->currentLanguage;
}

void LanguageManager::setCurrentLanguage(int language)
{
    if (language == d->currentLanguage || !d->languages.contains(language))
        return;
    d->currentLanguage = language;
    Q_EMIT currentLanguageChanged(language);
}

int LanguageManager::fallbackLanguage() const
{
    return d->fallbackLanguage;
}

void LanguageManager::setFallbackLanguage(int language)
{
    if (language == d->fallbackLanguage || !d->languages.contains(language))
        return;
    d->fallbackLanguage = language;
    Q_EMIT fallbackLanguageChanged(language);
}

void LanguageManager::setLanguages(const QList<QPair<int, QString>> &languages)
{
    if (languages.isEmpty()) {
        qWarning("LanguageManager::setLanguages: an empty language list is refused");
        return;
    }
    QMap<int, QString> map;
    for (const auto &language : languages)
        map.insert(language.first, language.second);
    if (map == d->languages)
        return;
    d->languages = map;

    const int lowest = map.firstKey();
    const bool currentMoves = !map.contains(d->currentLanguage);
    const bool fallbackMoves = !map.contains(d->fallbackLanguage);
    if (currentMoves)
        d->currentLanguage = lowest;
    if (fallbackMoves)
        d->fallbackLanguage = lowest;

    // Announce the list first, so that listeners of the other two find it complete.
    Q_EMIT languagesChanged();
    if (currentMoves)
        Q_EMIT currentLanguageChanged(d->currentLanguage);
    if (fallbackMoves)
        Q_EMIT fallbackLanguageChanged(d->fallbackLanguage);
}

unsigned int LanguageManager::askForMonolingualLanguage(QWidget *parent)
{
    QDialog dialog(parent);
    dialog.setObjectName(QStringLiteral("MonolingualLanguageDialog"));
    dialog.setWindowTitle(tr("Einsprachiger Text"));

    auto *label = new QLabel(tr("Welche Sprache soll der Text behalten?"), &dialog);
    auto *combo = new QComboBox(&dialog);
    combo->setObjectName(QStringLiteral("languageComboBox"));
    label->setBuddy(combo);
    for (auto it = d->languages.constBegin(); it != d->languages.constEnd(); ++it)
        combo->addItem(it.value(), it.key());
    combo->setCurrentIndex(combo->findData(d->currentLanguage));

    auto *buttons = new QDialogButtonBox(&dialog);
    buttons->setObjectName(QStringLiteral("buttonBox"));
    QPushButton *ok = buttons->addButton(tr("OK"), QDialogButtonBox::AcceptRole);
    ok->setObjectName(QStringLiteral("okButton"));
    ok->setDefault(true);
    buttons->addButton(tr("Abbrechen"), QDialogButtonBox::RejectRole)
        ->setObjectName(QStringLiteral("cancelButton"));
    connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);

    auto *layout = new QVBoxLayout(&dialog);
    layout->addWidget(label);
    layout->addWidget(combo);
    layout->addWidget(buttons);

    if (dialog.exec() != QDialog::Accepted)
        return Cancelled;
    return static_cast<unsigned int>(combo->currentData().toInt());
}
