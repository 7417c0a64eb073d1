# Packages, by `make package`: a Debian package of the program, one of the library, and a tarball of
# the program, each with a file of its SHA-256.
set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_NAME codetext)
set(CPACK_PACKAGE_VENDOR "the codetext authors")
set(CPACK_PACKAGE_CONTACT "the codetext authors <codetext@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Search the text of a repository in milliseconds, exactly")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_COMPONENTS_ALL program development)
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION
    "codetext keeps the text of a repository in an index and answers searches from it.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "The library under codetext: headers, archives, and files for CMake and pkg-config.")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME codetext)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS git)  # it names the files of a git work tree
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libcodetext-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libicu-dev, libre2-dev, libzstd-dev, liblz4-dev, libxxhash-dev")
if(CODETEXT_SYSTEM_SQLITE)
    string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ", libsqlite3-dev")
endif()
# The program's package has the license.
string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ", codetext (= ${PROJECT_VERSION})")

set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
string(TOLOWER "codetext-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}"
    CPACK_PACKAGE_FILE_NAME)
if(CODETEXT_STATIC_PROGRAM)
    string(APPEND CPACK_PACKAGE_FILE_NAME "-static")
endif()
set(CPACK_ARCHIVE_PROGRAM_FILE_NAME "${CPACK_PACKAGE_FILE_NAME}")
set(CPACK_PROJECT_CONFIG_FILE "${PROJECT_SOURCE_DIR}/cmake/package_generator.cmake")
include(CPack)
