# brivelnox_make_export_list(definition source): writes a source with the table of all names in the export list, made
# anew whenever the list changes.
function(brivelnox_make_export_list definition source)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${definition}")
    file(STRINGS "${definition}" lines REGEX "^ +[A-Za-z_]+")
    set(declarations "")
    set(rows "")
    foreach(line IN LISTS lines)
        string(REGEX REPLACE "^ +([A-Za-z_]+).*" "\\1" name "${line}")
        set(function "${name}")
        if(line MATCHES "= *([A-Za-z_]+)")
            set(function "${CMAKE_MATCH_1}")
        endif()
        string(APPEND declarations "void ${function}();\n")
        string(APPEND rows "    {\"${name}\", reinterpret_cast<FARPROC>(&${function})},\n")
    endforeach()
    # Declared without their arguments, which only their address needs not.
    file(CONFIGURE OUTPUT "${source}" CONTENT [[
#include "shim/export_list.h"

extern "C" {
@declarations@}

namespace brivelnox::native {

std::span<const exported_function> ExportList() {
    static const exported_function kList[] = {
@rows@    };
    return kList;
}

}  // namespace brivelnox::native
]] @ONLY)
endfunction()
