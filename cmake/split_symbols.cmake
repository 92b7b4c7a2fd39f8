# Moves the symbols of a linked target into a .debug file beside it, which debuggers find by the link that is left
# in the target. MSVC writes such a file (.pdb) of its own.
function(brivelnox_split_symbols target)
    if(MSVC OR NOT CMAKE_OBJCOPY)
        return()
    endif()
    set(symbols "$<TARGET_FILE_NAME:${target}>.debug")
    # Otherwise it writes the time of this moment into the programs, and the same sources would give other bytes.
    set(objcopy "${CMAKE_COMMAND}" -E env SOURCE_DATE_EPOCH=0 "${CMAKE_OBJCOPY}")
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND ${objcopy} --only-keep-debug "$<TARGET_FILE_NAME:${target}>" "${symbols}"
        COMMAND ${objcopy} --strip-all "--add-gnu-debuglink=${symbols}" "$<TARGET_FILE_NAME:${target}>"
        WORKING_DIRECTORY "$<TARGET_FILE_DIR:${target}>"
        VERBATIM)
endfunction()
