# Clang for 64-bit Windows over the headers of the GCC cross compiler. It only compiles: the product is linked by GCC.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(BRIVELNOX_TRIPLET x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-windows-gnu)
set(CMAKE_RC_COMPILER ${BRIVELNOX_TRIPLET}-windres)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

# Clang does not look for the C++ headers where Debian puts those of the cross compiler.
execute_process(COMMAND ${BRIVELNOX_TRIPLET}-g++-posix -print-file-name=include/c++
    OUTPUT_VARIABLE gcc_headers OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(CMAKE_CXX_FLAGS_INIT "-nostdinc++ -isystem ${gcc_headers} -isystem ${gcc_headers}/${BRIVELNOX_TRIPLET}")

set(CMAKE_FIND_ROOT_PATH /usr/${BRIVELNOX_TRIPLET} ${CMAKE_CURRENT_LIST_DIR}/../build/deps/${BRIVELNOX_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
