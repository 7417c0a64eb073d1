# Installs BUILD below SCRATCH, moves the installed tree, and uses it as a stranger would: the program,
# and the library by find_package and by pkg-config. Then configures the consumer with a copy of
# SOURCE as a part of it, which no scripts/setup has seen.
cmake_minimum_required(VERSION 3.22)

function(run output)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE text ERROR_VARIABLE errors)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${ARGN}: ${status}\n${text}${errors}")
    endif()
    set(${output} "${text}${errors}" PARENT_SCOPE)
endfunction()

function(expect_found text wanted)
    string(FIND "${text}" "${wanted}" place)
    if(place EQUAL -1)
        message(FATAL_ERROR "not found: ${wanted}\nin: ${text}")
    endif()
endfunction()

file(REMOVE_RECURSE "${SCRATCH}")
file(WRITE "${SCRATCH}/tree/dir/a.c" "int one;\nint needle(int);\n")
run(ignored git init --quiet "${SCRATCH}/tree")  # the build may lie in a tree that ignores it
run(ignored "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${SCRATCH}/installed" --strip)
set(root "${SCRATCH}/moved to")
file(RENAME "${SCRATCH}/installed" "${root}")

run(text "${root}/bin/codetext" --version)
expect_found("${text}" "codetext ${VERSION}")
file(GLOB_RECURSE files RELATIVE "${root}" "${root}/*")
foreach(file bin/codetext share/man/man1/codetext.1 share/man/man1/codetext-search-code.1
        share/bash-completion/completions/codetext share/zsh/site-functions/_codetext
        share/fish/vendor_completions.d/codetext.fish share/doc/codetext/LICENSE
        include/codetext/storage/code_text.hpp)
    expect_found("${files};" "${file};")
endforeach()
if(files MATCHES "pattern_impl.hpp|sqlite3.h")
    message(FATAL_ERROR "a private header is installed: ${CMAKE_MATCH_0}")
endif()

set(configure "${CMAKE_COMMAND}" -G "${GENERATOR}" -S "${SOURCE}/tests/consumer"
    "-DCMAKE_CXX_COMPILER=${CXX}" -DCMAKE_BUILD_TYPE=Debug)
run(ignored ${configure} -B "${SCRATCH}/by-cmake" "-DCMAKE_PREFIX_PATH=${root}")
run(ignored "${CMAKE_COMMAND}" --build "${SCRATCH}/by-cmake")
run(text "${SCRATCH}/by-cmake/find_lines" "${SCRATCH}/tree" "need.e")
expect_found("${text}" "dir/a.c:2:int needle(int);\n")

file(GLOB_RECURSE pc "${root}/*/codetext.pc")
get_filename_component(pc_directory "${pc}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} "${pc_directory}")
run(flags "${PKG_CONFIG}" --static --cflags --libs codetext)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(ignored "${CXX}" -std=c++20 "${SOURCE}/tests/consumer/find_lines.cpp"
    -o "${SCRATCH}/by-pkg-config" ${flags})
run(text "${SCRATCH}/by-pkg-config" "${SCRATCH}/tree" "int one")
expect_found("${text}" "dir/a.c:1:int one;\n")

file(COPY "${SOURCE}/CMakeLists.txt" "${SOURCE}/cmake" "${SOURCE}/src"
    DESTINATION "${SCRATCH}/codetext")
run(text ${configure} -B "${SCRATCH}/by-source" "-DCODETEXT_SOURCE=${SCRATCH}/codetext")
expect_found("${text}" "linking the system's SQLite instead")
