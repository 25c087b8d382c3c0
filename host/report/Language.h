// Language: the texts of a report in the language of its reader.
//
// The program composes its sentences in English, where messages and JSON have them too. A language is a table
// of such sentences and of what stands for them: {} in the English one takes any text, as a figure or a name.
// The other one has it back by number, so that the order of words can differ: {1} as it is, {1:tr} in this
// language, {1:list} with each part of "A, B" in this language. To add a language, copy German.cpp and name
// the new table in Language.cpp.
#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct Phrase {
    std::string_view english, translated;
};
extern const std::span<const Phrase> kGermanPhrases;

class Language {
public:
    using Missing = std::function<void(std::string_view text)>;

    /// `code` as ISO 639-1 has it. Without phrases every text stays as it is. The phrases must outlive the
    /// language; `missing` is told each text that has letters and no phrase.
    Language(std::string code, std::span<const Phrase> phrases, Missing missing = {})
        : m_code(std::move(code)), m_phrases(phrases), m_missing(std::move(missing)) {}

    const std::string& Code() const { return m_code; }
    /// A text of the program in this language. Where several phrases match, that counts which begins with the
    /// most letters of its own, or has the most in all; without one the text stays English.
    std::string operator()(std::string_view text) const;
    /// Each part of "A, B" in this language.
    std::string List(std::string_view text) const;
    /// A name that a person may have given: it stays as it is where there is no phrase.
    std::string Name(std::string_view text) const;

private:
    bool Translate(std::string_view text, std::string& translated) const;
    std::string Fill(std::string_view pattern, const std::vector<std::string_view>& parts) const;

    std::string m_code;
    std::span<const Phrase> m_phrases;
    Missing m_missing;
};

/// The codes of all languages, English first.
std::vector<std::string> LanguageCodes();
/// The language of one of these codes; it lives as long as the program.
const Language& FindLanguage(std::string_view code);
