// PageFiles: the files of the page, which the build embeds into the program.
#pragma once

#include <string_view>
#include <vector>

struct PageFile {
    std::string_view path;  // as requests name it, "/style.css"
    std::string_view type;
    std::string_view bytes;
};
/// "/" is the page itself.
const std::vector<PageFile>& PageFiles();
