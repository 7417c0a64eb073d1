# What `cmake --install` puts where, in two components: the program with its man pages and
# completions, and what other programs need to use the library. cpack makes packages of them.
set(codetext_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/codetext")
set(codetext_pages "${PROJECT_BINARY_DIR}/pages")

# The headers to include; those that they include are installed too.
set(codetext_public_headers storage/code_text.hpp storage/database.hpp storage/schema.hpp
    storage/verify.hpp search/run/search_run.hpp indexer/status.hpp indexer/run/index_run.hpp
    indexer/run/repair.hpp indexer/watch/request.hpp
    indexer/watch/watcher.hpp)

# The program.
install(TARGETS codetext_program RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT program)
install(DIRECTORY "${codetext_pages}/man1" DESTINATION "${CMAKE_INSTALL_MANDIR}" COMPONENT program)
install(FILES "${codetext_pages}/bash/codetext" COMPONENT program
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
# Below /usr, Debian's zsh looks into a directory of its own.
install(CODE "set(codetext_zsh site-functions)
    if(EXISTS /etc/debian_version AND \"\${CMAKE_INSTALL_PREFIX}\" MATCHES \"/usr/*\$\")
        set(codetext_zsh vendor-completions)
    endif()
    file(INSTALL \"${codetext_pages}/zsh/_codetext\"
        DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}/zsh/\${codetext_zsh}\")"
    COMPONENT program)
install(FILES "${codetext_pages}/fish/codetext.fish" COMPONENT program
    DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d")
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/README.md"
    "${PROJECT_SOURCE_DIR}/CHANGELOG.md" DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT program)
# A program that carries its libraries carries their licenses, which Debian keeps here.
foreach(package libicu-dev libre2-dev libzstd-dev liblz4-dev libxxhash-dev libfmt-dev rapidjson-dev
        libtomlplusplus-dev libc6-dev libstdc++6)
    if(CODETEXT_STATIC_PROGRAM AND EXISTS "/usr/share/doc/${package}/copyright")
        install(FILES "/usr/share/doc/${package}/copyright" RENAME ${package} COMPONENT program
            DESTINATION "${CMAKE_INSTALL_DOCDIR}/licenses")
    endif()
endforeach()

# The library. The pinned SQLite is a library of its own beside it, for codetext alone.
set(codetext_libraries codetext)
if(NOT CODETEXT_SYSTEM_SQLITE)
    list(APPEND codetext_libraries codetext_sqlite)
    set_target_properties(codetext_sqlite PROPERTIES EXPORT_NAME sqlite)
endif()
install(TARGETS ${codetext_libraries} EXPORT codetext ARCHIVE
    DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development)
install(EXPORT codetext NAMESPACE codetext:: FILE codetext-targets.cmake
    DESTINATION "${codetext_package_dir}" COMPONENT development)
install(CODE "set(codetext_headers \"${codetext_public_headers}\")
    set(codetext_from \"${PROJECT_SOURCE_DIR}/src\")
    set(codetext_to \"${CMAKE_INSTALL_INCLUDEDIR}/codetext\")" COMPONENT development)
install(SCRIPT "${PROJECT_SOURCE_DIR}/cmake/install_headers.cmake" COMPONENT development)

include(CMakePackageConfigHelpers)
configure_file(cmake/codetext-config.cmake.in "${PROJECT_BINARY_DIR}/codetext-config.cmake" @ONLY)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/codetext-config-version.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/codetext-config.cmake" cmake/Libraries.cmake
    "${PROJECT_BINARY_DIR}/codetext-config-version.cmake"
    DESTINATION "${codetext_package_dir}" COMPONENT development)

# pkg-config: paths from where the file lies, so that an installed tree can be moved.
set(codetext_pc_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH codetext_pc_prefix "/prefix/${codetext_pc_dir}" "/prefix")
string(REGEX REPLACE "/$" "" codetext_pc_prefix "${codetext_pc_prefix}")
set(codetext_pc_requires "icu-uc re2 libzstd liblz4 libxxhash")
set(codetext_pc_libs "-pthread -ldl -lm")
if(CODETEXT_SYSTEM_SQLITE)
    string(APPEND codetext_pc_requires " sqlite3")
else()
    string(PREPEND codetext_pc_libs "-lcodetext_sqlite ")
endif()
configure_file(cmake/codetext.pc.in "${PROJECT_BINARY_DIR}/codetext.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/codetext.pc" DESTINATION "${codetext_pc_dir}"
    COMPONENT development)

if(PROJECT_IS_TOP_LEVEL)
    include(cmake/Packages.cmake)
endif()
