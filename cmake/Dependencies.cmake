# What codetext links with, each as a target. Static libraries where the system has them: a process
# that carries its libraries starts sooner.
find_package(Threads REQUIRED)
find_package(fmt REQUIRED)

set(codetext_all_static TRUE)

# codetext_static_library(NAME HEADER LIBRARY...): an interface target over libraries found by name,
# the archive before the shared object.
function(codetext_static_library name header)
    find_path(${name}_include ${header} REQUIRED)
    add_library(${name} INTERFACE)
    target_include_directories(${name} SYSTEM INTERFACE ${${name}_include})
    foreach(library IN LISTS ARGN)
        find_library(${name}_${library} NAMES lib${library}.a ${library} REQUIRED)
        target_link_libraries(${name} INTERFACE ${${name}_${library}})
        if(NOT ${name}_${library} MATCHES "\\.a$")
            set(codetext_all_static FALSE PARENT_SCOPE)
        endif()
    endforeach()
endfunction()

codetext_static_library(codetext_icu unicode/ucasemap.h icuuc icudata)
target_link_libraries(codetext_icu INTERFACE ${CMAKE_DL_LIBS})
find_path(codetext_re2_header re2/re2.h REQUIRED)
file(STRINGS "${codetext_re2_header}/re2/re2.h" codetext_re2_uses_abseil REGEX "#include \"absl/")
if(codetext_re2_uses_abseil)  # from 2023-06-02 on; RE2's own package knows which libraries it takes
    find_package(re2 CONFIG REQUIRED)
    add_library(codetext_re2 INTERFACE)
    target_link_libraries(codetext_re2 INTERFACE re2::re2)
    set(codetext_all_static FALSE)
else()
    codetext_static_library(codetext_re2 re2/re2.h re2)
    target_link_libraries(codetext_re2 INTERFACE Threads::Threads)
endif()
codetext_static_library(codetext_zstd zstd.h zstd)
codetext_static_library(codetext_lz4 lz4hc.h lz4)
codetext_static_library(codetext_xxhash xxhash.h xxhash)
find_path(codetext_rapidjson_include rapidjson/writer.h REQUIRED)

if(CODETEXT_SYSTEM_SQLITE)
    find_package(SQLite3 REQUIRED)
    add_library(codetext_sqlite ALIAS SQLite::SQLite3)
else()
    if(NOT EXISTS "${CODETEXT_SQLITE_DIR}/sqlite3.c")
        message(FATAL_ERROR "No SQLite amalgamation in ${CODETEXT_SQLITE_DIR}: run scripts/setup, "
            "give another -DCODETEXT_SQLITE_DIR, or link the system's SQLite with "
            "-DCODETEXT_SYSTEM_SQLITE=ON")
    endif()
    add_library(codetext_sqlite STATIC "${CODETEXT_SQLITE_DIR}/sqlite3.c")
    target_include_directories(codetext_sqlite SYSTEM PUBLIC "${CODETEXT_SQLITE_DIR}")
    target_compile_definitions(codetext_sqlite PRIVATE SQLITE_ENABLE_FTS5 SQLITE_DQS=0
        SQLITE_DEFAULT_MEMSTATUS=0 SQLITE_LIKE_DOESNT_MATCH_BLOBS SQLITE_OMIT_DEPRECATED
        SQLITE_OMIT_SHARED_CACHE SQLITE_OMIT_LOAD_EXTENSION)
    target_compile_options(codetext_sqlite PRIVATE -O2 -w -ffunction-sections -fdata-sections)
    target_link_libraries(codetext_sqlite PUBLIC Threads::Threads m)
endif()

# Whether the program can carry all of its libraries, the C library too.
include(CheckCXXSourceCompiles)
set(CMAKE_REQUIRED_LINK_OPTIONS -static-pie -Wl,--no-warnings)
check_cxx_source_compiles("#include <string>\nint main() { return std::string().size(); }"
    codetext_links_statically)
unset(CMAKE_REQUIRED_LINK_OPTIONS)
include(CMakeDependentOption)
cmake_dependent_option(CODETEXT_STATIC_PROGRAM
    "Link the program statically: half of what it takes to start" ON
    "codetext_all_static;codetext_links_statically;NOT CODETEXT_SANITIZE;NOT CODETEXT_SYSTEM_SQLITE"
    OFF)
