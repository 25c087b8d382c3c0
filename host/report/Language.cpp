#include "host/report/Language.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

namespace {

constexpr std::string_view kBlank = "{}";

const std::array<Language, 2>& AllLanguages() {
    static const std::array<Language, 2> all{Language("en", {}), Language("de", kGermanPhrases)};
    return all;
}

// Letters of its own: those it begins with, and all.
std::pair<std::size_t, std::size_t> CountLetters(std::string_view pattern) {
    std::size_t gaps = 0;
    for (std::size_t at = 0; (at = pattern.find(kBlank, at)) != std::string_view::npos; at += kBlank.size())
        ++gaps;
    return {std::min(pattern.find(kBlank), pattern.size()), pattern.size() - gaps * kBlank.size()};
}

// What stands in the gaps if `text` is as `pattern` has it; each gap but the last is as short as can be.
std::optional<std::vector<std::string_view>> Match(std::string_view pattern, std::string_view text) {
    std::vector<std::string_view> parts;
    std::size_t gap = pattern.find(kBlank);
    if (!text.starts_with(pattern.substr(0, gap))) return {};
    if (gap == std::string_view::npos) {
        if (text.size() != pattern.size()) return {};
        return parts;
    }
    text.remove_prefix(gap);
    while (gap != std::string_view::npos) {
        const std::size_t from = gap + kBlank.size();
        gap = pattern.find(kBlank, from);
        const std::string_view literal = pattern.substr(from, gap - from);
        const bool isLast = gap == std::string_view::npos;
        if (isLast && !text.ends_with(literal)) return {};
        const std::size_t end = isLast ? text.size() - literal.size() : text.find(literal);
        if (end == std::string_view::npos) return {};
        parts.push_back(text.substr(0, end));
        text.remove_prefix(end + literal.size());
    }
    return parts;
}

bool HasLetters(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](unsigned char c) { return std::isalpha(c) != 0; });
}

}  // namespace

std::string Language::operator()(std::string_view text) const {
    std::string translated(text);
    if (!Translate(text, translated) && m_missing && HasLetters(text)) m_missing(text);
    return translated;
}

std::string Language::List(std::string_view text) const {
    constexpr std::string_view kBetween = ", ";
    std::string all;
    for (std::size_t from = 0, end = 0; end != std::string_view::npos; from = end + kBetween.size()) {
        end = text.find(kBetween, from);
        if (from > 0) all += kBetween;
        all += (*this)(text.substr(from, end - from));
    }
    return all;
}

std::string Language::Name(std::string_view text) const {
    std::string translated(text);
    Translate(text, translated);
    return translated;
}

bool Language::Translate(std::string_view text, std::string& translated) const {
    const Phrase* best = nullptr;
    std::vector<std::string_view> parts;
    for (const Phrase& phrase : m_phrases) {
        if (best != nullptr && CountLetters(best->english) >= CountLetters(phrase.english)) continue;
        std::optional<std::vector<std::string_view>> found = Match(phrase.english, text);
        if (!found) continue;
        best = &phrase;
        parts = std::move(*found);
    }
    if (best != nullptr) translated = Fill(best->translated, parts);
    return best != nullptr || m_phrases.empty();
}

std::string Language::Fill(std::string_view pattern, const std::vector<std::string_view>& parts) const {
    std::string filled;
    while (!pattern.empty()) {
        const std::size_t brace = std::min(pattern.find('{'), pattern.size());
        filled += pattern.substr(0, brace);
        pattern.remove_prefix(brace);
        if (pattern.empty()) break;
        const std::size_t end = pattern.find('}');
        const std::string_view part = parts.at(static_cast<std::size_t>(pattern[1] - '1'));
        const std::string_view how = pattern.substr(2, end - 2);
        filled += how == ":tr" ? (*this)(part) : how == ":list" ? List(part) : std::string(part);
        pattern.remove_prefix(end + 1);
    }
    return filled;
}

std::vector<std::string> LanguageCodes() {
    std::vector<std::string> codes;
    for (const Language& language : AllLanguages()) codes.push_back(language.Code());
    return codes;
}

const Language& FindLanguage(std::string_view code) {
    return *std::find_if(AllLanguages().begin(), AllLanguages().end(),
                         [&](const Language& language) { return language.Code() == code; });
}
