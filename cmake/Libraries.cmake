# The libraries under codetext that are found by name, each as a target. The build includes this, and
# so does the package that is installed: who links with codetext links with these.
# `codetext_re2_uses_abseil` is set before; what was not found is in `codetext_missing` after.
set(codetext_all_static TRUE)
set(codetext_missing "")

# codetext_libraries(NAME LIBRARY...): an interface target over libraries found by name, the archive
# before the shared object.
function(codetext_libraries name)
    if(NOT TARGET ${name})
        add_library(${name} INTERFACE IMPORTED)
    endif()
    foreach(library IN LISTS ARGN)
        find_library(${name}_${library} NAMES lib${library}.a ${library})
        mark_as_advanced(${name}_${library})
        if(NOT ${name}_${library})
            set(codetext_missing ${codetext_missing} ${library})
        endif()
        set_property(TARGET ${name} APPEND PROPERTY
            INTERFACE_LINK_LIBRARIES "${${name}_${library}}")
        if(NOT ${name}_${library} MATCHES "\\.a$")
            set(codetext_all_static FALSE PARENT_SCOPE)
        endif()
    endforeach()
    set(codetext_missing ${codetext_missing} PARENT_SCOPE)
endfunction()

codetext_libraries(codetext_icu icuuc icudata)
set_property(TARGET codetext_icu APPEND PROPERTY INTERFACE_LINK_LIBRARIES ${CMAKE_DL_LIBS})
if(codetext_re2_uses_abseil)  # RE2's own package knows which libraries it takes
    codetext_libraries(codetext_re2)
    set_property(TARGET codetext_re2 APPEND PROPERTY INTERFACE_LINK_LIBRARIES re2::re2)
    set(codetext_all_static FALSE)
else()
    codetext_libraries(codetext_re2 re2)
    set_property(TARGET codetext_re2 APPEND PROPERTY INTERFACE_LINK_LIBRARIES Threads::Threads)
endif()
codetext_libraries(codetext_zstd zstd)
codetext_libraries(codetext_lz4 lz4)
codetext_libraries(codetext_xxhash xxhash)
