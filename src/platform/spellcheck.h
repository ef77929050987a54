#pragma once

#include "services.h"
#include "spellchecksession.h"

#include <QStringList>

#include <memory>

namespace korva {

class HunspellDictionary;

// Where the spell checker looks for its dictionary and keeps the user's own words.
struct SpellCheckSettings {
    QStringList dictionaryFolders; // searched in order for <language>.aff and <language>.dic
    QStringList languages;         // tried in order, e.g. "en_US"
    QString userWordsFile;         // one word a line; made when the first word is added

    // The system's Hunspell folders, the user's locale then American English, and the word
    // list in the application's settings folder.
    static SpellCheckSettings standard();
};

// The spell-check object service over Hunspell. The dictionary is read on the first object
// and shared by the later ones, so a second check does not pay for loading it again.
class HunspellSpellChecking : public SpellChecking {
public:
    static constexpr auto kObjectName = "TAVROUtilities.Dictionary";

    explicit HunspellSpellChecking(SpellCheckSettings settings = SpellCheckSettings::standard());
    ~HunspellSpellChecking() override;

    std::unique_ptr<SpellCheckObject> CreateObject(const QString &name, QString *why) override;

private:
    SpellCheckSettings m_settings;
    std::shared_ptr<HunspellDictionary> m_dictionary;
};

// Loads a Hunspell dictionary with the user's words on top. Null and the reason in words
// when no dictionary of the listed languages is in the folders, or it cannot be read.
std::shared_ptr<HunspellDictionary> loadHunspellDictionary(const SpellCheckSettings &settings,
                                                           QString *why);

class HunspellDictionary : public SpellDictionary {
public:
    ~HunspellDictionary() override;
    bool isCorrect(const QString &word) const override;
    QStringList suggestions(const QString &word) const override;
    void addWord(const QString &word) override;

    const QString &affixFile() const { return m_affix; }

private:
    friend std::shared_ptr<HunspellDictionary>
    loadHunspellDictionary(const SpellCheckSettings &settings, QString *why);
    struct Engine;

    HunspellDictionary(std::unique_ptr<Engine> engine, QString affix, QString userWords);
    void acceptWord(const QString &word);

    std::unique_ptr<Engine> m_engine;
    QString m_affix;
    QString m_userWordsFile;
};

} // namespace korva
