# Refuses an include that leads upwards: a folder of the product may use itself and the folders below it, and nothing
# else of the project. Run by every build, as cmake -P check_includes.cmake; needs nothing but CMake.
cmake_minimum_required(VERSION 3.25)

# From the top to the bottom.
set(folders provider lines calls registry_service logging platform)

get_filename_component(root "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
set(refused "")
set(allowed ${folders})
foreach(folder IN LISTS folders)
    file(GLOB_RECURSE files RELATIVE "${root}" "${root}/${folder}/*")
    foreach(file IN LISTS files)
        file(STRINGS "${root}/${file}" includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"[^\"/]+/")
        foreach(include IN LISTS includes)
            string(REGEX REPLACE "^[^\"]*\"([^\"/]+)/.*" "\\1" included "${include}")
            if(NOT included IN_LIST allowed)
                string(APPEND refused "\n  ${file}: ${include}")
            endif()
        endforeach()
    endforeach()
    list(POP_FRONT allowed)
endforeach()

if(refused)
    list(JOIN folders " -> " order)
    message(FATAL_ERROR "Includes that lead upwards (${order}):${refused}")
endif()
