# Writes OUT, a source with the bytes of all FILES (separated by |) of FOLDER: the page inside the program.
cmake_minimum_required(VERSION 3.25)
string(REPLACE "|" ";" files "${FILES}")
set(arrays "")
set(rows "")
foreach(file ${files})
    file(READ ${FOLDER}/${file} bytes HEX)
    string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
    string(MAKE_C_IDENTIFIER ${file} name)
    set(type text/html)
    if(file MATCHES "\\.js$")
        set(type text/javascript)
    elseif(file MATCHES "\\.css$")
        set(type text/css)
    elseif(file MATCHES "\\.svg$")
        set(type image/svg+xml)
    endif()
    set(path /${file})
    if(file STREQUAL index.html)
        set(path /)
    endif()
    string(APPEND arrays "constexpr unsigned char k_${name}[] = {${bytes}};\n")
    string(APPEND rows "        {\"${path}\", \"${type}; charset=utf-8\", View(k_${name})},\n")
endforeach()
file(CONFIGURE OUTPUT ${OUT} @ONLY CONTENT "#include \"host/live/PageFiles.h\"

namespace {

template <typename Bytes>
std::string_view View(const Bytes& bytes) {
    return {reinterpret_cast<const char*>(bytes), sizeof bytes};
}
@arrays@
}  // namespace

const std::vector<PageFile>& PageFiles() {
    static const std::vector<PageFile> files = {
@rows@    };
    return files;
}
")
