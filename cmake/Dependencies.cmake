# What codetext links with, each as a target. Static libraries where the system has them: a process
# that carries its libraries starts sooner.
find_package(Threads REQUIRED)
find_package(fmt REQUIRED)

# From 2023-06-02 on, RE2's headers include Abseil's.
find_path(codetext_re2_include re2/re2.h REQUIRED)
file(STRINGS "${codetext_re2_include}/re2/re2.h" codetext_re2_uses_abseil REGEX "#include \"absl/")
if(codetext_re2_uses_abseil)
    set(codetext_re2_uses_abseil TRUE)
    find_package(re2 CONFIG REQUIRED)
else()
    set(codetext_re2_uses_abseil FALSE)
endif()
include("${CMAKE_CURRENT_LIST_DIR}/Libraries.cmake")
if(codetext_missing)
    message(FATAL_ERROR "Libraries not found: ${codetext_missing}. README.md lists their packages")
endif()
find_path(codetext_icu_include unicode/ucasemap.h REQUIRED)
find_path(codetext_zstd_include zstd.h REQUIRED)
find_path(codetext_lz4_include lz4hc.h REQUIRED)
find_path(codetext_xxhash_include xxhash.h REQUIRED)
foreach(library icu re2 zstd lz4 xxhash)
    set_property(TARGET codetext_${library} APPEND PROPERTY
        INTERFACE_INCLUDE_DIRECTORIES "${codetext_${library}_include}")
endforeach()
# Headers alone; one file includes them.
find_path(codetext_toml_include toml++/toml.h REQUIRED)
find_path(codetext_rapidjson_include rapidjson/writer.h REQUIRED)

# Without scripts/setup there is no amalgamation, and the system's SQLite does.
if(NOT CODETEXT_SYSTEM_SQLITE AND NOT EXISTS "${CODETEXT_SQLITE_DIR}/sqlite3.c")
    if(NOT CODETEXT_SQLITE_DIR STREQUAL codetext_sqlite_of_setup)
        message(FATAL_ERROR "No SQLite amalgamation in ${CODETEXT_SQLITE_DIR}")
    endif()
    message(NOTICE "codetext: no SQLite amalgamation in ${CODETEXT_SQLITE_DIR}, which scripts/setup "
        "puts there: linking the system's SQLite instead")
    set(CODETEXT_SYSTEM_SQLITE ON)
endif()
if(CODETEXT_SYSTEM_SQLITE)
    find_package(SQLite3 REQUIRED)
    add_library(codetext_sqlite ALIAS SQLite::SQLite3)
else()
    add_library(codetext_sqlite STATIC "${CODETEXT_SQLITE_DIR}/sqlite3.c")
    target_include_directories(codetext_sqlite SYSTEM PUBLIC
        "$<BUILD_INTERFACE:${CODETEXT_SQLITE_DIR}>")
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
