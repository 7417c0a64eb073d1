# Read by cpack for each kind of package: the tarball holds the program alone, to be unpacked
# anywhere.
if(CPACK_GENERATOR STREQUAL "TGZ")
    set(CPACK_COMPONENTS_ALL program)
    set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
    set(CPACK_PACKAGING_INSTALL_PREFIX "/")
endif()
