# Installs codetext_headers, paths below codetext_from, and the headers of ours that they include,
# below codetext_to.
cmake_policy(VERSION 3.22)
set(installed "")
while(codetext_headers)
    list(POP_FRONT codetext_headers header)
    if(header IN_LIST installed)
        continue()
    endif()
    list(APPEND installed "${header}")
    get_filename_component(directory "${header}" DIRECTORY)
    file(INSTALL "${codetext_from}/${header}"
        DESTINATION "${CMAKE_INSTALL_PREFIX}/${codetext_to}/${directory}")
    file(STRINGS "${codetext_from}/${header}" includes REGEX "^#include \"")
    list(TRANSFORM includes REPLACE "^#include \"([^\"]*)\".*" "\\1")
    list(APPEND codetext_headers ${includes})
endwhile()
