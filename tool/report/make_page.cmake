# Gets the packages into the build's own folder, and makes the page of them there.
#   SOURCE    the folder with package.json
#   PAGE      the file to make
#   NPM, NODE the programs
#   REQUIRED  ON: a failure ends the build. Else the page becomes an empty file, and the
#             tool says that it was built without.
get_filename_component(work ${PAGE} DIRECTORY)
file(COPY ${SOURCE}/package.json ${SOURCE}/package-lock.json ${SOURCE}/.npmrc DESTINATION ${work})
execute_process(COMMAND ${NPM} ci --omit=dev
  WORKING_DIRECTORY ${work} RESULT_VARIABLE failed OUTPUT_VARIABLE said ERROR_VARIABLE said)
if(NOT failed)
  execute_process(COMMAND ${NODE} ${SOURCE}/build.mjs ${work}/node_modules ${PAGE}
    WORKING_DIRECTORY ${work} RESULT_VARIABLE failed OUTPUT_VARIABLE said ERROR_VARIABLE said)
endif()
if(NOT failed)
  return()
endif()
file(REMOVE ${PAGE})
message("${said}")
if(REQUIRED STREQUAL "ON")
  message(FATAL_ERROR "The page of vorgate-agent report could not be made, for the reason "
    "above. Without the page: -DVORGATE_REPORT=OFF")
endif()
message(WARNING "The page of vorgate-agent report could not be made, for the reason above; the "
  "tool is built without it. To try again: remove ${PAGE} and build; to make this an error: "
  "-DVORGATE_REPORT=ON")
file(WRITE ${PAGE} "")
