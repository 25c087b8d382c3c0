#include "host/record/Pacing.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace {

bool IsOneOf(const std::string& word, std::initializer_list<std::string_view> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

bool ClauseTells(const std::vector<std::string>& clause) {
    for (std::size_t i = 0; i < clause.size(); ++i) {
        if (IsOneOf(clause[i], {"no", "not", "without"})) return false;
        if (IsOneOf(clause[i], {"10370003", "251266004"})) return true;
        if (!IsOneOf(clause[i], {"paced", "pacing", "pacemaker", "pacemakers"})) continue;
        const bool isOther =
            (i > 0 && IsOneOf(clause[i - 1], {"atrial", "wandering", "shifting", "self"})) ||
            (i + 1 < clause.size() && IsOneOf(clause[i + 1], {"breathing", "respiration", "walking"}));
        if (!isOther) return true;
    }
    return false;
}

}  // namespace

bool TellsOfPacing(const std::vector<std::string>& remarks) {
    for (const std::string& remark : remarks) {
        std::vector<std::string> clause(1);
        // A comma, a stop or a colon ends a clause, any other mark a word.
        for (const char c : remark + ".") {
            if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
                clause.back() += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            } else if (std::string_view(".,;:").find(c) == std::string_view::npos) {
                if (!clause.back().empty()) clause.emplace_back();
            } else {
                if (ClauseTells(clause)) return true;
                clause.assign(1, "");
            }
        }
    }
    return false;
}
