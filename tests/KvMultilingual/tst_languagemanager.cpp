#include <KvMultilingual/LanguageManager.h>

#include <QtCore/QTimer>
#include <QtTest/QSignalSpy>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QDialog>
#include <QtWidgets/QPushButton>

#include <functional>

namespace {

using Languages = QList<QPair<int, QString>>;

const Languages defaultLanguages = {{1, QStringLiteral("Deutsch")},
                                    {2, QStringLiteral("Englisch")},
                                    {3, QStringLiteral("Französisch")}};

// Runs \a answer on the next modal dialog as soon as the event loop shows it; gives up
// after about five seconds so that a dialog that never appears fails instead of hanging.
void answerNextModal(std::function<void(QWidget *)> answer)
{
    auto *timer = new QTimer;
    auto attempts = std::make_shared<int>(500);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, attempts, answer] {
        QWidget *modal = QApplication::activeModalWidget();
        if (modal || --*attempts == 0) {
            timer->stop();
            timer->deleteLater();
            if (!modal)
                return;
            answer(modal);
            // A failed check inside the answer returns early; close the dialog anyway so
            // that exec() returns and the failure is reported instead of hanging.
            if (auto *dialog = qobject_cast<QDialog *>(modal); dialog && dialog->isVisible())
                dialog->reject();
        }
    });
    timer->start(10);
}

} // namespace

class LanguageManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();
    void setCurrentLanguage_data();
    void setCurrentLanguage();
    void setLanguages_data();
    void setLanguages();
    void askForMonolingualLanguage_data();
    void askForMonolingualLanguage();
};

void LanguageManagerTest::cleanup()
{
    LanguageManager *manager = LanguageManager::instance();
    manager->setLanguages(defaultLanguages);
    manager->setCurrentLanguage(1);
    manager->setFallbackLanguage(1);

    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY2(QApplication::topLevelWidgets().isEmpty(), "a dialog was left behind");
}

void LanguageManagerTest::setCurrentLanguage_data()
{
    QTest::addColumn<int>("language");
    QTest::addColumn<int>("expected");

    QTest::newRow("unchanged") << 1 << 1;
    QTest::newRow("listed") << 3 << 3;
    QTest::newRow("unlisted-ignored") << 9 << 1;
    QTest::newRow("all-bits-ignored") << -1 << 1;
}

void LanguageManagerTest::setCurrentLanguage()
{
    QFETCH(int, language);
    QFETCH(int, expected);

    LanguageManager *manager = LanguageManager::instance();
    QSignalSpy currentSpy(manager, &LanguageManager::currentLanguageChanged);
    QSignalSpy fallbackSpy(manager, &LanguageManager::fallbackLanguageChanged);
    manager->setCurrentLanguage(language);
    QCOMPARE(manager->currentLanguage(), expected);
    QCOMPARE(currentSpy.count(), expected != 1 ? 1 : 0);
    if (expected != 1)
        QCOMPARE(currentSpy.first().first().toInt(), expected);

    manager->setFallbackLanguage(language);
    QCOMPARE(manager->fallbackLanguage(), expected);
    QCOMPARE(fallbackSpy.count(), expected != 1 ? 1 : 0);
}

void LanguageManagerTest::setLanguages_data()
{
    QTest::addColumn<Languages>("languages");
    QTest::addColumn<QStringList>("expectedNames");
    QTest::addColumn<QList<int>>("expectedList");
    QTest::addColumn<int>("expectedCurrent");
    QTest::addColumn<int>("expectedFallback");
    QTest::addColumn<QList<int>>("signalCounts"); // list, current, fallback

    // Before each row: current language 2, fallback language 1.
    const QStringList defaultNames{"Deutsch", "Englisch", "Französisch"};
    QTest::newRow("identical-list") << defaultLanguages << defaultNames << QList<int>{1, 2, 3} << 2 << 1 << QList<int>{0, 0, 0};
    QTest::newRow("empty-refused") << Languages() << defaultNames << QList<int>{1, 2, 3} << 2 << 1 << QList<int>{0, 0, 0};
    QTest::newRow("renamed-only") << Languages{{1, "German"}, {2, "English"}, {3, "French"}}
                                  << QStringList{"German", "English", "French"} << QList<int>{1, 2, 3} << 2 << 1
                                  << QList<int>{1, 0, 0};
    QTest::newRow("unsorted-input-added") << Languages{{4, "Italienisch"}, {2, "Englisch"}, {1, "Deutsch"}}
                                          << QStringList{"Deutsch", "Englisch", "Italienisch"} << QList<int>{1, 2, 4}
                                          << 2 << 1 << QList<int>{1, 0, 0};
    QTest::newRow("current-removed") << Languages{{3, "Französisch"}, {1, "Deutsch"}} << QStringList{"Deutsch", "Französisch"}
                                     << QList<int>{1, 3} << 1 << 1 << QList<int>{1, 1, 0};
    QTest::newRow("both-removed") << Languages{{5, "Spanisch"}, {7, "Polnisch"}} << QStringList{"Spanisch", "Polnisch"}
                                  << QList<int>{5, 7} << 5 << 5 << QList<int>{1, 1, 1};
    QTest::newRow("repeated-number-last-name-wins") << Languages{{2, "A"}, {2, "B"}} << QStringList{"B"}
                                                    << QList<int>{2} << 2 << 2 << QList<int>{1, 0, 1};
}

void LanguageManagerTest::setLanguages()
{
    QFETCH(Languages, languages);
    QFETCH(QStringList, expectedNames);
    QFETCH(QList<int>, expectedList);
    QFETCH(int, expectedCurrent);
    QFETCH(int, expectedFallback);
    QFETCH(QList<int>, signalCounts);

    LanguageManager *manager = LanguageManager::instance();
    manager->setCurrentLanguage(2);
    QSignalSpy listSpy(manager, &LanguageManager::languagesChanged);
    QSignalSpy currentSpy(manager, &LanguageManager::currentLanguageChanged);
    QSignalSpy fallbackSpy(manager, &LanguageManager::fallbackLanguageChanged);

    if (languages.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, "LanguageManager::setLanguages: an empty language list is refused");
    manager->setLanguages(languages);
    QCOMPARE(manager->languageList(), expectedList);
    QStringList names;
    for (int language : expectedList)
        names << manager->languageName(language);
    QCOMPARE(names, expectedNames);
    QCOMPARE(manager->languageName(6), QString());
    QCOMPARE(manager->currentLanguage(), expectedCurrent);
    QCOMPARE(manager->fallbackLanguage(), expectedFallback);
    QCOMPARE((QList<int>{int(listSpy.count()), int(currentSpy.count()), int(fallbackSpy.count())}), signalCounts);
}

void LanguageManagerTest::askForMonolingualLanguage_data()
{
    QTest::addColumn<int>("currentLanguage");
    QTest::addColumn<int>("chooseRow");
    QTest::addColumn<QString>("button");
    QTest::addColumn<unsigned int>("expected");

    // chooseRow -1 keeps the preselected language.
    QTest::newRow("ok-preselects-current") << 2 << -1 << "okButton" << 2u;
    QTest::newRow("ok-after-choosing") << 1 << 2 << "okButton" << 3u;
    QTest::newRow("cancel") << 1 << 2 << "cancelButton" << LanguageManager::Cancelled;
    QTest::newRow("escape") << 1 << -1 << "escape" << LanguageManager::Cancelled;
}

void LanguageManagerTest::askForMonolingualLanguage()
{
    QFETCH(int, currentLanguage);
    QFETCH(int, chooseRow);
    QFETCH(QString, button);
    QFETCH(unsigned int, expected);

    LanguageManager *manager = LanguageManager::instance();
    manager->setCurrentLanguage(currentLanguage);
    QWidget parent;

    QStringList offered;
    bool answered = false;
    answerNextModal([&](QWidget *dialog) {
        answered = true;
        QCOMPARE(dialog->parentWidget(), &parent);
        auto *combo = dialog->findChild<QComboBox *>(QStringLiteral("languageComboBox"));
        QVERIFY(combo);
        for (int row = 0; row < combo->count(); ++row)
            offered << combo->itemText(row);
        QCOMPARE(combo->currentData().toInt(), currentLanguage);
        if (chooseRow >= 0)
            combo->setCurrentIndex(chooseRow);
        if (button == QLatin1String("escape")) {
            QTest::keyClick(dialog, Qt::Key_Escape);
            return;
        }
        auto *push = dialog->findChild<QPushButton *>(button);
        QVERIFY(push);
        push->click();
    });

    const unsigned int result = manager->askForMonolingualLanguage(&parent);
    QVERIFY(answered);
    QCOMPARE(offered, (QStringList{"Deutsch", "Englisch", "Französisch"}));
    QCOMPARE(result, expected);
    QCOMPARE(manager->currentLanguage(), currentLanguage);
}

QTEST_MAIN(LanguageManagerTest)
#include "tst_languagemanager.moc"
