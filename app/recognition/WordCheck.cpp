#include "app/recognition/WordCheck.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>

#include <tesseract/baseapi.h>

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QHash>
#include <QLoggingCategory>

#include "app/recognition/ChineseRecovery.h"
#include "app/recognition/ChineseTextCleanup.h"
#include "app/recognition/DictionaryCandidates.h"
#include "app/recognition/GlyphForms.h"
#include "app/recognition/LineRouting.h"
#include "app/recognition/ModelPasses.h"
#include "app/recognition/ReadingVote.h"
#include "app/recognition/ScriptVariants.h"
#include "app/recognition/TesseractPool.h"

namespace Tessary::WordCheck {

namespace {

// The characters this stage changes (QT_LOGGING_RULES="tessary.recognition.words.debug=true").
Q_LOGGING_CATEGORY(lcWords, "tessary.recognition.words", QtInfoMsg)

constexpr qsizetype longestWord = 4;

/**
 * How much more the glyph may look like the character read than like the candidate and the candidate still be
 * taken (traditionalLikeness's scale). At 12 to 14 px the two drawn look-alikes match a glyph within a few
 * hundredths; a glyph that is plainly the character read is more than this nearer to it.
 */
constexpr double plainlyOther = 0.06;
/** How much more a glyph must look like a candidate no model read than like the character read. */
constexpr double clearlyLike = 0.2;

/** The places of an image where the dictionary proposes characters: each costs up to five enumerations. */
constexpr qsizetype proposedPlaces = 2;

bool isHan(QChar c)
{
    return ChineseTextCleanup::isHan(c.unicode());
}

/** True when the character at i is part of a word of 2 to longestWord characters the dictionary knows. */
bool inWord(const QString &text, qsizetype i, const Lookup &knows)
{
    for (qsizetype length = 2; length <= longestWord; ++length) {
        for (qsizetype start = std::max<qsizetype>(0, i - length + 1); start <= i; ++start) {
            if (start + length > text.size()) {
                break;
            }
            const QString word = text.mid(start, length);
            if (std::all_of(word.cbegin(), word.cend(), isHan) && knows(word)) {
                return true;
            }
        }
    }
    return false;
}

/** The places of the Chinese characters of text. */
QList<qsizetype> hanPlaces(const QString &text)
{
    QList<qsizetype> places;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (isHan(text.at(i))) {
            places.append(i);
        }
    }
    return places;
}

/**
 * The word dictionaries of both Chinese models, borrowed from the pool when first asked, always the Simplified
 * engine first: two recognitions that each held one and waited for the other would wait for ever.
 */
class Dictionaries
{
public:
    bool knows(Script script, const QString &word)
    {
        auto &known = script == Script::Traditional ? m_traditionalKnown : m_simplifiedKnown;
        const auto found = known.constFind(word);
        if (found != known.cend()) {
            return *found;
        }
        const tesseract::TessBaseAPI *engine = dictionary(script);
        const bool valid = engine && engine->IsValidWord(word.toUtf8().constData()) != 0;
        known.insert(word, valid);
        return valid;
    }

    /** The engine holding the script's dictionary; null when its model is missing. */
    const tesseract::TessBaseAPI *dictionary(Script script)
    {
        if (!m_borrowed) {
            m_borrowed = true;
            for (auto [model, engine] : {std::pair{ModelPasses::simplifiedModel, &m_simplified},
                                         std::pair{ModelPasses::traditionalModel, &m_traditional}}) {
                if (TesseractPool::hasModels(model)) {
                    *engine = TesseractPool::shared().borrow(model);
                }
            }
        }
        const auto &engine = script == Script::Traditional ? m_traditional : m_simplified;
        return engine.get();
    }

private:
    TesseractPool::Lease m_simplified{nullptr, {}, {}};
    TesseractPool::Lease m_traditional{nullptr, {}, {}};
    bool m_borrowed = false;
    QHash<QString, bool> m_simplifiedKnown;
    QHash<QString, bool> m_traditionalKnown;
};

} // namespace

QString mended(const QString &line, const QStringList &candidates, const Lookup &knows, const Shows &shows)
{
    QString text = line;
    for (qsizetype i = 0; i < text.size() && i < candidates.size(); ++i) {
        const bool withNeighbour = (i > 0 && isHan(text.at(i - 1))) || (i + 1 < text.size() && isHan(text.at(i + 1)));
        if (!isHan(text.at(i)) || !withNeighbour || inWord(text, i, knows)) {
            continue;
        }
        for (const QChar candidate : candidates[i]) {
            // The script of a line is settled later, from its glyphs.
            if (candidate == text.at(i) || !isHan(candidate) ||
                ScriptVariants::areVariants(candidate.unicode(), text.at(i).unicode())) {
                continue;
            }
            QString trial = text;
            trial[i] = candidate;
            if (inWord(trial, i, knows) && shows(i, candidate)) {
                text = trial;
                break;
            }
        }
    }
    return text;
}

void mend(const QImage &image, const ScriptChoice::Choice &choice, const QList<LineReading> &modelReadings,
          QStringList &lines)
{
    // The glyphs are compared with characters drawn in a font, which needs a font database.
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance()) == nullptr) {
        return;
    }
    QElapsedTimer clock;
    clock.start();
    Dictionaries dictionaries;
    qsizetype proposalsLeft = proposedPlaces;
    const int background = LineRouting::backgroundGrey(image);
    const auto perLine = [](const QStringList &texts, qsizetype i) { return i < texts.size() ? texts[i] : QString(); };
    for (qsizetype li = 0; li < lines.size() && li < choice.pass.lines.size() && li < choice.scripts.size(); ++li) {
        const Script script = choice.scripts[li];
        const QString &text = lines[li];
        const QList<qsizetype> places = hanPlaces(text);
        if (script == Script::Latin || places.size() < 2) {
            continue;
        }
        const PassLine &line = choice.pass.lines[li];
        const QString hint = perLine(choice.traditionalText, li);
        // The words are looked up in the line's script, which the line model does not always write, and in the
        // other script's dictionary too: each lacks common words the other has.
        const Lookup knows = [&](const QString &word) {
            return dictionaries.knows(Script::Simplified, ScriptVariants::toSimplified(word)) ||
                   dictionaries.knows(Script::Traditional, ScriptVariants::toTraditional(word, hint));
        };
        const QString written = script == Script::Traditional ? ScriptVariants::toTraditional(text, hint)
                                                              : ScriptVariants::toSimplified(text);
        const QString checked = written.size() == text.size() ? written : text;
        const bool allInWords =
            std::all_of(places.cbegin(), places.cend(), [&](qsizetype at) { return inWord(checked, at, knows); });
        if (allInWords) {
            continue;
        }
        // A label the line model did not read is read now: its runners-up are the likeliest look-alikes.
        const bool label = places.size() == text.size() &&
                           line.box.width() <= ChineseRecovery::longestLabel * std::max(1, line.box.height());
        LineReading model = li < modelReadings.size() ? modelReadings[li] : LineReading{};
        if (model.text.isEmpty() && label) {
            const QRect area = LineRouting::inkBox(image, line.box, background);
            model = NeuralLineRecognizer::read(image.copy(area));
            for (float &centre : model.centres) {
                centre += float(area.left());
            }
        }
        const auto inScript = [&](QChar c) {
            const QString form = script == Script::Traditional ? ScriptVariants::toTraditional(QString(c), hint)
                                                               : ScriptVariants::toSimplified(QString(c));
            return form.size() == 1 ? form.at(0) : c;
        };
        // Every reading gives one candidate for each character, the line model's runners-up more. A reading that
        // dropped or added a character (the line model loses one now and then in small Traditional text) still
        // holds the others: its characters are matched to the line's where the two align.
        QStringList read(text.size());
        // A Traditional-only form a model read is written as read, whatever the line's script: the glyphs settle it
        // later.
        QHash<std::pair<qsizetype, QChar>, QChar> traditionalRead;
        QStringList candidates(text.size());
        QList<qsizetype> modelPlaces;
        const QStringList readings{model.text, line.text, perLine(choice.otherReading, li), hint};
        for (const QString &reading : readings) {
            const QList<qsizetype> theirs = hanPlaces(reading);
            if (theirs.isEmpty()) {
                continue;
            }
            if (&reading == &readings.front() && theirs.size() == places.size()) {
                modelPlaces = theirs;
            }
            std::vector<qsizetype> matched(size_t(places.size()));
            std::iota(matched.begin(), matched.end(), 0);
            if (theirs.size() != places.size()) {
                QString own, their;
                for (const qsizetype at : places) {
                    own += checked.at(at);
                }
                for (const qsizetype at : theirs) {
                    their += reading.at(at);
                }
                matched = ReadingVote::counterparts(own, their);
            }
            for (qsizetype k = 0; k < places.size(); ++k) {
                if (matched[size_t(k)] < 0) {
                    continue;
                }
                const QChar c = reading.at(theirs[matched[size_t(k)]]);
                read[places[k]] += inScript(c);
                if (ScriptVariants::isTraditionalOnly(c.unicode())) {
                    traditionalRead.insert({places[k], inScript(c)}, c);
                }
            }
        }
        candidates = read;
        if (!modelPlaces.isEmpty() && model.alternatives.size() == model.text.size()) {
            for (qsizetype k = 0; k < places.size(); ++k) {
                for (const QChar c : model.alternatives[modelPlaces[k]]) {
                    candidates[places[k]] += inScript(c);
                }
            }
        }
        // Where each character's glyph is: a label's characters share its width, others stand where the line model
        // or the pass placed them.
        const QList<qsizetype> passPlaces = hanPlaces(line.text);
        const auto centreOf = [&](qsizetype at, int &em) -> std::optional<QPoint> {
            const auto k = places.indexOf(at);
            const int y = line.box.center().y();
            em = int(std::lround(line.box.height() / 0.92));
            if (places.size() == text.size()) {
                const double pitch = double(line.box.width()) / double(text.size());
                em = int(std::lround(pitch));
                return QPoint(int(std::lround(line.box.left() + (double(at) + 0.5) * pitch)), y);
            }
            if (!modelPlaces.isEmpty() && model.centres.size() == model.text.size()) {
                return QPoint(int(std::lround(model.centres[modelPlaces[k]])), y);
            }
            if (passPlaces.size() == places.size() && line.centres.size() == line.text.size()) {
                return QPoint(int(std::lround(line.centres[passPlaces[k]])), y);
            }
            return std::nullopt;
        };
        // A character a model read stands unless the glyph is plainly the one read; one only a runner-up, where
        // every model read the same, only where the glyph looks more like it.
        const auto shows = [&](qsizetype at, QChar candidate) {
            int em = 0;
            const auto centre = centreOf(at, em);
            if (!centre) {
                return false;
            }
            // The line's script is settled later: the glyph may be the other form of the character read (蘭, where
            // the line is read as Simplified so far) or of the candidate (叠 for 疊), so the candidate's likeliest form
            // must look more like it than each form of the character read.
            const auto forms = [&](QChar c) {
                QString all(c);
                for (const QString &form :
                     {ScriptVariants::toTraditional(QString(c), hint), ScriptVariants::toSimplified(QString(c))}) {
                    if (form.size() == 1 && !all.contains(form.at(0))) {
                        all += form;
                    }
                }
                return all;
            };
            double likeness = -2;
            for (const QChar shown : forms(candidate)) {
                double against = 2;
                for (const QChar read : forms(checked.at(at))) {
                    against = std::min(against, ScriptChoice::traditionalLikeness(image, *centre, em, background,
                                                                                  read.unicode(), shown.unicode()));
                }
                likeness = std::max(likeness, against);
            }
            qCDebug(lcWords) << checked << "at" << at << checked.at(at) << "->" << candidate << "of" << candidates[at]
                             << "likeness" << likeness;
            return likeness > (read[at].contains(candidate) ? -plainlyOther : clearlyLike);
        };
        QString fixed = mended(checked, candidates, knows, shows);
        // Where a label still makes no word, the line's dictionary proposes characters no model read and the glyph
        // decides: only at desktop sizes, where the drawings fit the screen's glyphs, and at a few places an image,
        // the glyphs least like their drawn reading first. Paragraphs are left as they are: each place costs a few
        // milliseconds, and their lines give the models context enough.
        struct Unsure
        {
            double match;
            qsizetype at;
            int em;
            QImage ink;
        };
        QList<Unsure> unsure;
        const tesseract::TessBaseAPI *dictionary = label ? dictionaries.dictionary(script) : nullptr;
        for (const qsizetype at : places) {
            int em = 0;
            const auto centre = centreOf(at, em);
            if (dictionary == nullptr || !centre || em > GlyphForms::desktopEm || inWord(fixed, at, knows)) {
                continue;
            }
            const QImage ink = ScriptChoice::glyphInk(image, *centre, em, background);
            const double match = DictionaryCandidates::readMatch(ink, em, fixed.at(at));
            if (!DictionaryCandidates::isPlainlyRead(match)) {
                unsure.append({match, at, em, ink});
            }
        }
        std::sort(unsure.begin(), unsure.end(), [](const Unsure &a, const Unsure &b) { return a.match < b.match; });
        for (const Unsure &place : unsure) {
            if (proposalsLeft == 0 || inWord(fixed, place.at, knows)) {
                continue;
            }
            --proposalsLeft;
            const QChar read = fixed.at(place.at);
            QString proposals = DictionaryCandidates::proposed(fixed, place.at, *dictionary);
            proposals.removeIf([&](QChar c) {
                return ScriptVariants::areVariants(c.unicode(), read.unicode()) ||
                       (script == Script::Traditional ? ScriptVariants::isSimplifiedOnly(c.unicode())
                                                      : ScriptVariants::isTraditionalOnly(c.unicode()));
            });
            const QChar taken = DictionaryCandidates::fittest(place.ink, place.em, read, proposals);
            if (!taken.isNull()) {
                fixed[place.at] = taken;
            }
        }
        QString result = text;
        for (qsizetype i = 0; i < fixed.size(); ++i) {
            if (fixed.at(i) != checked.at(i)) {
                result[i] = traditionalRead.value({i, fixed.at(i)}, fixed.at(i));
            }
        }
        if (result != text) {
            qCDebug(lcWords) << text << "->" << result;
            lines[li] = result;
        }
    }
    qCDebug(lcWords) << "words checked in" << clock.nsecsElapsed() / 1000 << "µs";
}

} // namespace Tessary::WordCheck
