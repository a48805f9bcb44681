# Exported are the unmangled names of exports.txt and the classes that the accessors return; the
# linker keeps everything else local, instances of standard templates included.
file(STRINGS cmake/exports.txt unmangled)
set(classes CChannelSet CForwardConfig CHttp CHttps CPackFile CPackMemory CParseMemory CSysSet CsnSet)
list(JOIN unmangled "\n    " unmangled)
list(JOIN classes "::*\n        " classes)
# A semicolon separates the elements of a list, so it may only come in once the list is a text.
string(REPLACE "\n" ";\n" unmangled "${unmangled}")
string(REPLACE "\n" ";\n" classes "${classes}")
file(CONFIGURE OUTPUT exports.map @ONLY CONTENT "{
global:
    @unmangled@;
    extern \"C++\" {
        @classes@::*;
    };
local:
    *;
};
")
target_link_options(corvenna PRIVATE -Wl,--version-script=${PROJECT_BINARY_DIR}/exports.map)
set_property(TARGET corvenna APPEND PROPERTY LINK_DEPENDS ${PROJECT_BINARY_DIR}/exports.map)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS cmake/exports.txt)
