# The page that vorgate-agent report fills, bundled into one file from packages of the
# npm registry at build time, and made a part of the tool.
set(VORGATE_REPORT "AUTO" CACHE STRING
    "The page of vorgate-agent report: ON, OFF, or AUTO: if npm is there and gets its packages")
set_property(CACHE VORGATE_REPORT PROPERTY STRINGS AUTO ON OFF)
find_program(VORGATE_NPM npm DOC "npm, for the page of vorgate-agent report")
find_program(VORGATE_NODE node DOC "Node.js (18 or later), for the page of vorgate-agent report")

set(report_wanted ${VORGATE_REPORT})
if(report_wanted STREQUAL "AUTO")
  if(NOT VORGATE_NPM OR NOT VORGATE_NODE)
    message(STATUS "vorgate-agent report: left out, because npm and nodejs are not installed")
    set(report_wanted OFF)
  endif()
elseif(report_wanted AND (NOT VORGATE_NPM OR NOT VORGATE_NODE))
  message(FATAL_ERROR "VORGATE_REPORT is ON, but npm or nodejs is missing; install the packages "
    "npm and nodejs, or configure with -DVORGATE_REPORT=OFF")
endif()

if(report_wanted)
  set(report_page ${CMAKE_CURRENT_BINARY_DIR}/report/report.html)
  set(report_sources build.mjs page.css page.html page.js charts.js detail.js table.js words.js
    package.json package-lock.json .npmrc)
  list(TRANSFORM report_sources PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/report/)
  add_custom_command(OUTPUT ${report_page}
    COMMAND ${CMAKE_COMMAND} -DSOURCE=${CMAKE_CURRENT_SOURCE_DIR}/report -DPAGE=${report_page}
      -DNPM=${VORGATE_NPM} -DNODE=${VORGATE_NODE} -DREQUIRED=${VORGATE_REPORT}
      -P ${CMAKE_CURRENT_SOURCE_DIR}/report/make_page.cmake
    DEPENDS ${report_sources} ${CMAKE_CURRENT_SOURCE_DIR}/report/make_page.cmake
    COMMENT "Bundling the page of vorgate-agent report"
    VERBATIM)
  set_source_files_properties(report_template.cpp PROPERTIES
    COMPILE_DEFINITIONS VORGATE_REPORT_TEMPLATE="${report_page}"
    OBJECT_DEPENDS ${report_page})
endif()
