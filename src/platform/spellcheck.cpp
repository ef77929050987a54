#include "spellcheck.h"

#include "spellcheckdialog.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QStandardPaths>
#include <QTextStream>

#include <hunspell.hxx>

#include <optional>

namespace korva {

struct HunspellDictionary::Engine {
    Engine(const QString &affix, const QString &dic)
        : hunspell(QFile::encodeName(affix).constData(), QFile::encodeName(dic).constData())
    {}

    std::string encode(const QString &word) const
    {
        const QByteArray bytes = utf8 ? word.toUtf8() : word.toLatin1();
        return bytes.toStdString();
    }
    QString decode(const std::string &word) const
    {
        return utf8 ? QString::fromStdString(word) : QString::fromLatin1(word);
    }

    Hunspell hunspell;
    bool utf8 = true;
};

namespace {

constexpr int kMaxSuggestions = 12;

QStringList readWordList(const QString &path)
{
    QStringList words;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return words;
    QTextStream in(&file);
    while (!in.atEnd()) {
        const QString word = in.readLine().trimmed();
        if (!word.isEmpty())
            words.append(word);
    }
    return words;
}

bool appendWord(const QString &path, const QString &word)
{
    if (path.isEmpty())
        return false;
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Text))
        return false;
    file.write(word.toUtf8() + '\n');
    return true;
}

// The encodings that Hunspell dictionaries on a desk are written in; others are refused so a
// check never compares words under the wrong encoding.
std::optional<bool> isUtf8Encoding(const std::string &name)
{
    const QString n = QString::fromStdString(name).toUpper().remove(u'-');
    if (n == u"UTF8")
        return true;
    if (n == u"ISO88591" || n == u"LATIN1")
        return false;
    return std::nullopt;
}

} // namespace

SpellCheckSettings SpellCheckSettings::standard()
{
    SpellCheckSettings s;
    const QByteArray extra = qgetenv("KORVA_DICTIONARY_PATH");
    if (!extra.isEmpty())
        s.dictionaryFolders += QString::fromLocal8Bit(extra).split(u':', Qt::SkipEmptyParts);
    s.dictionaryFolders +=
        {QStringLiteral("/usr/share/hunspell"), QStringLiteral("/usr/share/myspell"),
         QStringLiteral("/usr/share/myspell/dicts")};
    const QString own = QLocale().name();
    if (own.startsWith(u"en_"))
        s.languages.append(own);
    if (!s.languages.contains(u"en_US"))
        s.languages.append(QStringLiteral("en_US"));
    const QString config = QStandardPaths::writableLocation(QStandardPaths::AppConfigLocation);
    if (!config.isEmpty())
        s.userWordsFile = QDir(config).filePath(QStringLiteral("spelling-words.txt"));
    return s;
}

std::shared_ptr<HunspellDictionary> loadHunspellDictionary(const SpellCheckSettings &settings,
                                                           QString *why)
{
    auto fail = [why](const QString &text) {
        if (why)
            *why = text;
        return std::shared_ptr<HunspellDictionary>();
    };
    for (const QString &language : settings.languages) {
        for (const QString &folder : settings.dictionaryFolders) {
            const QDir dir(folder);
            const QString aff = dir.filePath(language + QStringLiteral(".aff"));
            const QString dic = dir.filePath(language + QStringLiteral(".dic"));
            if (!QFileInfo::exists(aff) || !QFileInfo::exists(dic))
                continue;
            if (!QFileInfo(aff).isReadable() || !QFileInfo(dic).isReadable())
                return fail(QStringLiteral("The spelling dictionary %1 cannot be read.").arg(dic));
            auto engine = std::make_unique<HunspellDictionary::Engine>(aff, dic);
            const std::optional<bool> utf8 = isUtf8Encoding(engine->hunspell.get_dict_encoding());
            if (!utf8)
                return fail(
                    QStringLiteral("The spelling dictionary %1 is written in %2, which "
                                   "the spell checker does not read.")
                        .arg(dic, QString::fromStdString(engine->hunspell.get_dict_encoding())));
            engine->utf8 = *utf8;
            std::shared_ptr<HunspellDictionary> dictionary(
                new HunspellDictionary(std::move(engine), aff, settings.userWordsFile));
            for (const QString &word : readWordList(settings.userWordsFile))
                dictionary->acceptWord(word);
            return dictionary;
        }
    }
    return fail(QStringLiteral("No spelling dictionary is installed: none of %1 was found in %2.")
                    .arg(settings.languages.join(QStringLiteral(", ")),
                         settings.dictionaryFolders.join(QStringLiteral(", "))));
}

HunspellDictionary::HunspellDictionary(std::unique_ptr<Engine> engine, QString affix,
                                       QString userWords)
    : m_engine(std::move(engine))
    , m_affix(std::move(affix))
    , m_userWordsFile(std::move(userWords))
{}

HunspellDictionary::~HunspellDictionary() = default;

bool HunspellDictionary::isCorrect(const QString &word) const
{
    return m_engine->hunspell.spell(m_engine->encode(word));
}

QStringList HunspellDictionary::suggestions(const QString &word) const
{
    QStringList out;
    for (const std::string &s : m_engine->hunspell.suggest(m_engine->encode(word))) {
        out.append(m_engine->decode(s));
        if (out.size() == kMaxSuggestions)
            break;
    }
    return out;
}

void HunspellDictionary::acceptWord(const QString &word)
{
    m_engine->hunspell.add(m_engine->encode(word));
}

void HunspellDictionary::addWord(const QString &word)
{
    if (isCorrect(word))
        return;
    acceptWord(word);
    // Losing the word from the file only costs the user adding it again next time.
    appendWord(m_userWordsFile, word);
}

namespace {

class HunspellSpellCheckObject : public SpellCheckObject {
public:
    explicit HunspellSpellCheckObject(std::shared_ptr<HunspellDictionary> dictionary)
        : m_dictionary(std::move(dictionary))
    {}

    QString CheckSpelling(const QString &text) override
    {
        SpellingSession session(*m_dictionary, text);
        if (!session.next())
            return text;
        SpellCheckDialog dialog(session, QApplication::activeWindow());
        if (dialog.exec() != QDialog::Accepted)
            return text;
        return session.text();
    }

private:
    std::shared_ptr<HunspellDictionary> m_dictionary;
};

} // namespace

HunspellSpellChecking::HunspellSpellChecking(SpellCheckSettings settings)
    : m_settings(std::move(settings))
{}

HunspellSpellChecking::~HunspellSpellChecking() = default;

std::unique_ptr<SpellCheckObject> HunspellSpellChecking::CreateObject(const QString &name,
                                                                      QString *why)
{
    if (name != QLatin1String(kObjectName)) {
        if (why)
            *why = QStringLiteral("There is no spell-check object named \"%1\".").arg(name);
        return nullptr;
    }
    if (!m_dictionary)
        m_dictionary = loadHunspellDictionary(m_settings, why);
    if (!m_dictionary)
        return nullptr;
    return std::make_unique<HunspellSpellCheckObject>(m_dictionary);
}

} // namespace korva
