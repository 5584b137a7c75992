#include "apps/workbench/canvas/type_search.h"

#include "apps/workbench/look/families.h"
#include "host/nearest_names.h"
#include "model/graph_object.h"
#include "model/manual.h"

#include <QRegularExpression>

#include <algorithm>
#include <map>
#include <string_view>

namespace zrkworkbench {

using zrkmodel::Tag;
using zrkmodel::ZRKGraphObjectRegistration;

namespace {

/// How good a match is, by where it is.
enum Score {
    kNone = 0,
    kSimilar = 5,
    kPage = 20,
    kDescription = 30,
    kFormer = 40,
    kFamily = 45,
    kClass = 50,
    kInName = 70,
    kWordOfName = 80,
    kName = 100,
    kWholeName = 120,
};

struct Words {
    QString name; ///< in lower case, as all of these
    QStringList classes;
    QString key; ///< what the type's texts go by, often its former name
    QString family;
    QString category;
    QString description;
    QStringList page;
};

QString lower(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<int>(text.size())).toLower();
}

const Words& wordsOf(const ZRKGraphObjectRegistration& type)
{
    static std::map<const ZRKGraphObjectRegistration*, Words> known;
    const auto found = known.find(&type);
    if (found != known.end()) {
        return found->second;
    }
    const zrkmodel::Manual& manual = manualOf(type);
    Words words;
    words.name = lower(type.strings.title);
    words.classes << lower(type.info.name) << lower(type.className);
    words.key = lower(type.strings.key).replace('_', ' ');
    words.family = QString(familyOf(type).title).toLower();
    words.category = lower(type.strings.category);
    words.description = lower(type.strings.description);
    QString page = lower(manual.summary) + " " + lower(manual.overview) + " " + lower(manual.notes);
    for (const auto values : {manual.properties, manual.storedKeys}) {
        for (const zrkmodel::ManualValue& value : values) {
            page += " " + lower(value.key) + " " + lower(value.meaning);
            for (const zrkmodel::ManualChoice& choice : value.choices) {
                page += " " + lower(choice.name) + " " + lower(choice.value) + " " + lower(choice.meaning);
            }
        }
    }
    static const QRegularExpression blanks("[^a-z0-9äöüß-]+");
    words.page = page.split(blanks, Qt::SkipEmptyParts);
    words.page.removeDuplicates();
    return known.emplace(&type, std::move(words)).first->second;
}

bool startsAWord(const QString& text, int at) { return at == 0 || !text[at - 1].isLetterOrNumber(); }

/// The best match of one word.
SearchHit matchWord(const ZRKGraphObjectRegistration& type, const QString& word)
{
    const Words& words = wordsOf(type);
    SearchHit hit{&type, kNone, {}};
    for (int at = static_cast<int>(words.name.indexOf(word)); at >= 0;
         at = static_cast<int>(words.name.indexOf(word, at + 1))) {
        const int score = words.name == word            ? kWholeName
                          : at == 0                     ? kName
                          : startsAWord(words.name, at) ? kWordOfName
                                                        : kInName;
        if (score > hit.score) {
            hit = {&type, score, {}, at, static_cast<int>(word.size())};
        }
    }
    if (hit.score > kNone) {
        return hit;
    }
    if (words.classes[0].contains(word) || words.classes[1].contains(word)) {
        const bool isTypeName = words.classes[0].contains(word);
        const std::string& shown = isTypeName ? type.info.name : type.className;
        return {&type, kClass, "class " + QString::fromStdString(shown)};
    }
    if (words.family.startsWith(word) || words.category.startsWith(word)) {
        const QString family = words.family.startsWith(word) ? familyOf(type).title : type.strings.category;
        return {&type, kFamily, "family " + family};
    }
    if (const auto at = words.key.indexOf(word); at >= 0 && startsAWord(words.key, static_cast<int>(at))) {
        return {&type, kFormer, "once: " + words.key};
    }
    if (const auto at = words.description.indexOf(word);
        at >= 0 && startsAWord(words.description, static_cast<int>(at))) {
        const auto end = words.description.indexOf(QRegularExpression("[^a-z0-9-]"), at);
        return {&type, kDescription, "page: " + words.description.mid(at, end < 0 ? -1 : end - at)};
    }
    for (const QString& each : words.page) {
        if (each.startsWith(word)) {
            return {&type, kPage, "page: " + each};
        }
    }
    return hit;
}

SearchHit matchAll(const ZRKGraphObjectRegistration& type, const QStringList& words)
{
    SearchHit all{&type, kWholeName, {}};
    for (const QString& word : words) {
        const SearchHit hit = matchWord(type, word);
        if (hit.score <= kNone) {
            return hit;
        }
        if (hit.score <= all.score) {
            all = hit;
        }
    }
    return all;
}

} // namespace

QString SearchFilter::text() const
{
    return QString(isFromOutput ? "takes a %1" : "gives a %1").arg(nameOf(tag));
}

std::optional<std::uint8_t> fittingPin(const ZRKGraphObjectRegistration& type, const SearchFilter& filter)
{
    const NodeInfo& pins = pinsOfType(type);
    const std::vector<PinInfo>& candidates = filter.isFromOutput ? pins.inputs : pins.outputs;
    // One of the wire's own tag before a wildcard.
    for (const bool takesAny : {false, true}) {
        for (std::size_t i = 0; i < candidates.size(); ++i) {
            const Tag tag = candidates[i].declared;
            const bool isOpen = filter.tag == Tag::None || filter.tag == Tag::Any;
            if (tag == filter.tag || isOpen || (takesAny && tag == Tag::Any)) {
                return static_cast<std::uint8_t>(i);
            }
        }
    }
    return std::nullopt;
}

std::vector<SearchHit> searchTypes(const QString& text, const std::optional<SearchFilter>& filter,
                                   const QStringList& recent)
{
    const QStringList words = text.toLower().simplified().split(' ', Qt::SkipEmptyParts);
    std::vector<SearchHit> hits;
    const auto& types = zrkmodel::ZRKGraphObject::registry().entries();
    for (const ZRKGraphObjectRegistration& type : types) {
        if (filter && !fittingPin(type, *filter)) {
            continue;
        }
        const SearchHit hit = matchAll(type, words);
        if (hit.score > kNone) {
            hits.push_back(hit);
        }
    }
    if (hits.empty() && words.size() == 1 && words[0].size() > 2) {
        // A slip of the finger.
        for (const ZRKGraphObjectRegistration& type : types) {
            const QString name = QString(type.strings.title);
            const std::size_t distance = zrkmodel::editDistance(words[0].toStdString(), name.toStdString());
            if ((!filter || fittingPin(type, *filter)) &&
                distance <= static_cast<std::size_t>(words[0].size()) / 3) {
                hits.push_back({&type, kSimilar - static_cast<int>(distance), "similar"});
            }
        }
    }
    if (!hits.empty() && hits[0].score <= kSimilar) {
        std::stable_sort(hits.begin(), hits.end(), [](const SearchHit& a, const SearchHit& b) {
            return std::string_view(a.type->strings.title).size() <
                   std::string_view(b.type->strings.title).size();
        });
    }
    const auto rank = [&](const SearchHit& hit) {
        const auto at = recent.indexOf(QString::fromStdString(hit.type->className));
        return at < 0 ? recent.size() : at;
    };
    std::stable_sort(hits.begin(), hits.end(), [&](const SearchHit& a, const SearchHit& b) {
        return a.score != b.score ? a.score > b.score : rank(a) < rank(b);
    });
    return hits;
}

} // namespace zrkworkbench
