# The reference as HTML: target docs. Fails on every warning: an undocumented function, a parameter that is missing or
# unknown, a link that leads nowhere.
find_package(Doxygen 1.9.4 QUIET)
if(DOXYGEN_FOUND)
  configure_file(docs/Doxyfile.in Doxyfile @ONLY)
  add_custom_target(docs
    COMMAND ${DOXYGEN_EXECUTABLE} ${PROJECT_BINARY_DIR}/Doxyfile
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} VERBATIM
    COMMENT "Writing ${PROJECT_BINARY_DIR}/docs/index.html")
endif()
