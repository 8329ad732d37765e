# The manual pages and the completion of the velmora program, and the target "docs": the pictures in
# docs/pictures from their sources, and the pages of the public interface, without a warning.

if(VELMORAKIT_BUILD_TOOLS)
    file(GLOB manual_pages "${PROJECT_SOURCE_DIR}/man/*.1")
    install(FILES ${manual_pages} DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools)
    install(FILES "${PROJECT_SOURCE_DIR}/completion/velmora"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT tools)
endif()

add_custom_target(docs)

# What it lacks a program for fails, and says which.
function(velmora_docs_need program target)
    add_custom_target(${target}
        COMMAND "${CMAKE_COMMAND}" -E echo "${program} is not installed: run scripts/setup docs"
        COMMAND "${CMAKE_COMMAND}" -E false VERBATIM)
endfunction()

# The pictures are kept beside their sources, so that they can be read without building anything.
find_program(VELMORAKIT_DOT dot)
if(VELMORAKIT_DOT)
    file(GLOB picture_sources "${PROJECT_SOURCE_DIR}/docs/pictures/*.dot")
    add_custom_target(docs-pictures
        COMMAND "${PROJECT_SOURCE_DIR}/scripts/pictures" "${VELMORAKIT_DOT}"
        SOURCES ${picture_sources}
        COMMENT "Drawing docs/pictures" VERBATIM)
else()
    velmora_docs_need(dot docs-pictures)
endif()

find_program(VELMORAKIT_DOXYGEN doxygen)
if(VELMORAKIT_DOXYGEN)
    set(VELMORAKIT_API_PAGES "${PROJECT_BINARY_DIR}/api")
    configure_file(cmake/Doxyfile.in "${PROJECT_BINARY_DIR}/Doxyfile" @ONLY)
    add_custom_target(docs-api
        COMMAND "${CMAKE_COMMAND}" -E make_directory "${VELMORAKIT_API_PAGES}"
        COMMAND "${VELMORAKIT_DOXYGEN}" "${PROJECT_BINARY_DIR}/Doxyfile"
        COMMENT "Making the pages of the public interface in ${VELMORAKIT_API_PAGES}/html"
        VERBATIM)
else()
    velmora_docs_need(doxygen docs-api)
endif()
add_dependencies(docs docs-pictures docs-api)
