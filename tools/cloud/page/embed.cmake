# Writes a C++ source that holds the given files byte for byte.
#
#     cmake -D OUTPUT=page_files.cpp -D "FILES=a;b" -P embed.cmake
set(arrays "")
set(rows "")
foreach(path IN LISTS FILES)
    get_filename_component(name ${path} NAME)
    string(MAKE_C_IDENTIFIER ${name} identifier)
    file(READ ${path} content HEX)
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," content "${content}")
    string(APPEND arrays "constexpr unsigned char k_${identifier}[] = {${content}};\n")
    string(APPEND rows "    {\"${name}\", k_${identifier}, sizeof k_${identifier}},\n")
endforeach()
file(WRITE ${OUTPUT} "#include \"tools/cloud/page/page_files.h\"

namespace corvenna::cloud {
namespace {
${arrays}
constexpr PageFile kFiles[] = {
${rows}};
}  // namespace

const PageFile *FindPageFile(std::string_view name) {
    for (const PageFile &file : kFiles) {
        if (file.name == name) {
            return &file;
        }
    }
    return nullptr;
}

}  // namespace corvenna::cloud
")
