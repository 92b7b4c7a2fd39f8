# brivelnox_settings: what every target of this project is compiled and linked with.
add_library(brivelnox_settings INTERFACE)
target_compile_features(brivelnox_settings INTERFACE cxx_std_20)
configure_file("${CMAKE_SOURCE_DIR}/platform/version_numbers.h.in"
    "${CMAKE_BINARY_DIR}/include/platform/version_numbers.h")
target_include_directories(brivelnox_settings INTERFACE "${CMAKE_SOURCE_DIR}" "${CMAKE_BINARY_DIR}/include")
target_compile_definitions(brivelnox_settings INTERFACE
    UNICODE _UNICODE STRICT WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0A00)
set(CMAKE_CXX_EXTENSIONS OFF)

if(MSVC)
    # TAPI 2.2: its structures without the tails of TAPI 3, which the other compiler's header always has.
    target_compile_definitions(brivelnox_settings INTERFACE TAPI_CURRENT_VERSION=0x00020002)
    # 5030: an attribute that only the other compilers know.
    target_compile_options(brivelnox_settings INTERFACE /W4 /wd5030 /permissive- /utf-8 /Zc:__cplusplus /EHsc /guard:cf
        $<$<BOOL:${BRIVELNOX_WERROR}>:/WX>)
    # /DEBUG, which writes the symbols, would leave in what nobody calls, and room to link again.
    target_link_options(brivelnox_settings INTERFACE /guard:cf /CETCOMPAT /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT
        /INCREMENTAL:NO /OPT:REF /OPT:ICF)
    return()
endif()

set(common_warnings -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
    -Wold-style-cast -Wcast-qual -Wformat=2 -Wimplicit-fallthrough -Wextra-semi -Wundef)
set(gcc_warnings -Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wnull-dereference)
# TAPI's error codes are unsigned constants that its functions return as LONG: clang alone counts that as a conversion.
set(clang_warnings -Wno-sign-conversion -Wthread-safety -Wthread-safety-beta -Wunreachable-code -Wnewline-eof)

target_compile_options(brivelnox_settings INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:${common_warnings}>
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:${gcc_warnings}>
    $<$<COMPILE_LANG_AND_ID:CXX,Clang>:${clang_warnings}>
    $<$<AND:$<COMPILE_LANGUAGE:CXX>,$<BOOL:${BRIVELNOX_WERROR}>>:-Werror>
    # As /GS, which Visual C++ has on by default: a function that writes beyond its buffer ends the process. What it
    # calls then is the provider's own, and the compiler's in the programs beside it, which linking adds.
    $<$<COMPILE_LANGUAGE:CXX>:-fstack-protector-strong>
    # No folder of the building machine in the program or its symbols.
    $<$<COMPILE_LANGUAGE:CXX>:-ffile-prefix-map=${CMAKE_SOURCE_DIR}=.>)

# Nothing but Windows' own DLLs is needed at run time, and the same sources give the same bytes whenever they are built.
target_link_options(brivelnox_settings INTERFACE
    -static -static-libgcc -static-libstdc++ -fstack-protector-strong
    -Wl,--dynamicbase,--high-entropy-va,--nxcompat,--no-insert-timestamp)

if(BRIVELNOX_COVERAGE)
    # Counters are updated from several threads; the paths of the sources have to be found again afterwards.
    target_compile_options(brivelnox_settings INTERFACE
        $<$<COMPILE_LANGUAGE:CXX>:--coverage> $<$<COMPILE_LANGUAGE:CXX>:-fprofile-update=atomic>)
    target_link_options(brivelnox_settings INTERFACE --coverage)
endif()
