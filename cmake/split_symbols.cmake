# Moves the symbols of a linked target into a .debug file beside it, which debuggers find by the link that is left
# in the target. MSVC writes such a file (.pdb) of its own.
function(brivelnox_split_symbols target)
    if(MSVC OR NOT CMAKE_OBJCOPY)
        return()
    endif()
    set(symbols "$<TARGET_FILE_NAME:${target}>.debug")
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND "${CMAKE_OBJCOPY}" --only-keep-debug "$<TARGET_FILE_NAME:${target}>" "${symbols}"
        COMMAND "${CMAKE_OBJCOPY}" --strip-all "--add-gnu-debuglink=${symbols}" "$<TARGET_FILE_NAME:${target}>"
        WORKING_DIRECTORY "$<TARGET_FILE_DIR:${target}>"
        VERBATIM)
endfunction()
