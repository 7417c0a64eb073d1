# Takes the examples out of the headers, so that the tests beside this script compile and run the
# very lines that a reader of a header sees. An example is the lines of a header's opening comment
# that are indented by three spaces or more.
#
#   cmake -D HEADERS=src -D OUTPUT=build/generated -P extract.cmake
#   cmake -D HEADERS=src -D TESTS=tests/examples -P extract.cmake
#
# The first writes OUTPUT/example_of/ROOM/NAME.hpp for each header that has an example. The second
# fails when no test includes the example of a header.
cmake_minimum_required(VERSION 3.22)

# Characters that mean something in a CMake list stand as control characters meanwhile.
string(ASCII 1 semicolon)
string(ASCII 2 open_bracket)
string(ASCII 3 close_bracket)

function(read_guarded file result)
    file(READ "${file}" text)
    string(REPLACE ";" "${semicolon}" text "${text}")
    string(REPLACE "[" "${open_bracket}" text "${text}")
    string(REPLACE "]" "${close_bracket}" text "${text}")
    set(${result} "${text}" PARENT_SCOPE)
endfunction()

function(unguard result text)
    string(REPLACE "${semicolon}" ";" text "${text}")
    string(REPLACE "${open_bracket}" "[" text "${text}")
    string(REPLACE "${close_bracket}" "]" text "${text}")
    set(${result} "${text}" PARENT_SCOPE)
endfunction()

# The example's lines, each behind the number that it has in the header; empty without an example.
function(example_of header result)
    read_guarded("${header}" text)
    string(REPLACE "\n" ";" lines "${text}")
    set(example "")
    set(number 0)
    foreach(line IN LISTS lines)
        math(EXPR number "${number} + 1")
        if(line MATCHES "^//   (.*)")
            string(APPEND example "#line ${number} \"${header}\"\n${CMAKE_MATCH_1}\n")
        elseif(NOT line MATCHES "^(//.*|#pragma once|)$")
            break()
        endif()
    endforeach()
    unguard(example "${example}")
    set(${result} "${example}" PARENT_SCOPE)
endfunction()

# An unchanged file keeps its time, so that nothing is compiled again.
function(write_if_changed file text)
    set(before "")
    if(EXISTS "${file}")
        file(READ "${file}" before)
    endif()
    if(NOT before STREQUAL text)
        file(WRITE "${file}" "${text}")
    endif()
endfunction()

set(tests "")
file(GLOB test_files "${TESTS}/*.cpp")
foreach(test IN LISTS test_files)
    read_guarded("${test}" text)
    string(APPEND tests "${text}")
endforeach()

set(not_run "")
set(left_over "")
if(DEFINED OUTPUT)
    file(GLOB_RECURSE left_over "${OUTPUT}/example_of/*.hpp")
endif()
file(GLOB_RECURSE headers RELATIVE "${HEADERS}" "${HEADERS}/*.hpp")
foreach(header IN LISTS headers)
    example_of("${HEADERS}/${header}" example)
    if(example STREQUAL "")
        continue()
    endif()
    string(FIND "${tests}" "#include \"example_of/${header}\"" place)
    if(place EQUAL -1)
        string(APPEND not_run "\n    ${header}")
    endif()
    if(DEFINED OUTPUT)
        string(CONCAT example  # an example names things as it likes and leaves fields out
            "#pragma GCC diagnostic push\n"
            "#pragma GCC diagnostic ignored \"-Wshadow\"\n"
            "#pragma GCC diagnostic ignored \"-Wmissing-field-initializers\"\n"
            "${example}"
            "#pragma GCC diagnostic pop\n")
        write_if_changed("${OUTPUT}/example_of/${header}" "${example}")
        list(REMOVE_ITEM left_over "${OUTPUT}/example_of/${header}")
    endif()
endforeach()
if(left_over)
    file(REMOVE ${left_over})
endif()
if(DEFINED TESTS AND NOT not_run STREQUAL "")
    message(SEND_ERROR "No test in ${TESTS} includes the example of:${not_run}")
endif()
