# What `cmake --install` puts where, and the packages that ./package.sh makes of it.
# A component is a package: agent, module, demo, and archive for the reference engine.
include(GNUInstallDirs)
option(VORGATE_PACKAGES "Prepare the packages, see ./package.sh" OFF)

# The module looks for the agent at this place alone, whatever the prefix is.
set(agent_folder /usr/local/lib/vlib64)
# Libraries that are loaded at run time are data for the distribution.
set(data_file PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

if(TARGET message_queue_linux)
  install(TARGETS message_queue_linux LIBRARY DESTINATION ${agent_folder} COMPONENT agent
    ${data_file})
endif()
if(TARGET vorgate_agent_tool)
  install(TARGETS vorgate_agent_tool RUNTIME COMPONENT agent)
endif()
install(FILES include/vorgate/php_help.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vorgate
  COMPONENT agent)
install(FILES agent/sql/sql_rules.toml DESTINATION ${CMAKE_INSTALL_DATADIR}/vorgate/rules
  COMPONENT agent)
install(DIRECTORY agent/script/ DESTINATION ${CMAKE_INSTALL_DATADIR}/vorgate/rules COMPONENT agent
  FILES_MATCHING PATTERN "*.yar")
if(VORGATE_ENGINE STREQUAL "installed")
  function(ask_php option variable)
    execute_process(COMMAND ${VORGATE_PHP_CONFIG_PATH} ${option} OUTPUT_VARIABLE answer
      OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    set(${variable} ${answer} PARENT_SCOPE)
  endfunction()
  find_program(VORGATE_PHP_CONFIG_PATH NAMES ${VORGATE_PHP_CONFIG} NO_CACHE REQUIRED)
  ask_php(--extension-dir php_extensions)
  install(TARGETS vorgate LIBRARY DESTINATION ${php_extensions} COMPONENT module ${data_file})
endif()
if(NOT VORGATE_PACKAGES)
  return()
endif()

set(files ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGE_NAME vorgate)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)

if(VORGATE_ENGINE STREQUAL "reference")
  set(name vorgate-${PROJECT_VERSION}-php7.1-zts)
  install(TARGETS vorgate LIBRARY DESTINATION ${name} COMPONENT archive ${data_file})
  install(FILES packaging/vorgate.ini packaging/php7.1-zts/README DESTINATION ${name}
    COMPONENT archive)
  set(CPACK_GENERATOR TGZ)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_ALL archive)
  set(CPACK_ARCHIVE_ARCHIVE_FILE_NAME ${name})
  set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY OFF)
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY OFF)
  include(CPack)
  return()
endif()

if(NOT php_extensions MATCHES "^/usr/lib/php/([0-9]+)$")
  message(FATAL_ERROR "${VORGATE_PHP_CONFIG_PATH} is no PHP of the distribution, so there can be "
    "no package for it; build the module alone, see docs/install.md.")
endif()
set(php_api ${CMAKE_MATCH_1})
ask_php(--vernum php_number)
math(EXPR php_major "${php_number} / 10000")
math(EXPR php_minor "${php_number} / 100 % 100")
set(PHP ${php_major}.${php_minor})
set(PACKAGE_agent vorgate-agent)
set(PACKAGE_module php${PHP}-vorgate)
set(PACKAGE_demo vorgate-demo)

# Whoever passes the packages on says who they are, the distribution's way.
set(maintainer "$ENV{DEBFULLNAME} <$ENV{DEBEMAIL}>")
if(maintainer STREQUAL " <>")
  set(maintainer "vorgate maintainers <maintainers@vorgate.invalid>")
endif()
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)

# compressed(SOURCE FOLDER NAME COMPONENT): installs FOLDER/NAME.gz.
function(compressed source folder name component)
  set(result ${files}/${component}/${name}.gz)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
  file(MAKE_DIRECTORY ${files}/${component})
  execute_process(COMMAND gzip -9nc ${source} OUTPUT_FILE ${result} COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${result} DESTINATION ${folder} COMPONENT ${component})
endfunction()

# package(COMPONENT FOLDER SUMMARY DESCRIPTION): what every package has. FOLDER holds its
# maintainer scripts, its list of configuration files and what lintian is to overlook.
macro(package component folder summary description)
  string(TOUPPER ${component} upper)
  set(package ${PACKAGE_${component}})
  set(doc ${CMAKE_INSTALL_DATADIR}/doc/${package})
  install(FILES packaging/copyright DESTINATION ${doc} COMPONENT ${component})
  configure_file(packaging/changelog.in ${files}/${component}/changelog @ONLY)
  compressed(${files}/${component}/changelog ${doc} changelog ${component})
  set(control)
  foreach(script preinst postinst prerm postrm conffiles lintian-overrides)
    if(EXISTS ${CMAKE_SOURCE_DIR}/packaging/${folder}/${script})
      set(result ${files}/${component}/${script})
      configure_file(packaging/${folder}/${script} ${result} @ONLY)
      if(script STREQUAL "lintian-overrides")
        install(FILES ${result} DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
          RENAME ${package} COMPONENT ${component})
      else()
        list(APPEND control ${result})
      endif()
    endif()
  endforeach()
  set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA ${control})
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${upper}_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${description}")
endmacro()

package(agent vorgate-agent "local agent of vorgate, the runtime protection for PHP"
  "The other side of the module vorgate: it decides by a policy file whether a
finding is blocked, and appends every event to a file of JSON lines. It runs
inside the PHP processes; there is no daemon. With a tool that tests policies
and reads events.")
install(DIRECTORY docs/ DESTINATION ${doc} COMPONENT agent FILES_MATCHING PATTERN "*.md" PATTERN "*.png"
  PATTERN "*.svg")
foreach(work libcli11-dev nlohmann-json3-dev libtomlplusplus-dev)
  install(FILES /usr/share/doc/${work}/copyright DESTINATION ${doc} RENAME copyright.${work}
    COMPONENT agent)
endforeach()
# The report's page holds them.
foreach(file echarts/LICENSE echarts/NOTICE zrender/LICENSE @tanstack/table-core/LICENSE
    @tanstack/store/LICENSE)
  string(REPLACE "@" "" name ${file})
  string(REPLACE "/" "." name ${name})
  install(FILES ${CMAKE_BINARY_DIR}/tool/report/node_modules/${file} DESTINATION ${doc}
    RENAME copyright.${name} COMPONENT agent)
endforeach()
install(FILES agent/agent.example.toml DESTINATION /etc/vorgate RENAME agent.toml COMPONENT agent)
install(FILES packaging/logrotate/vorgate DESTINATION /etc/logrotate.d RENAME vorgate-agent
  COMPONENT agent)
install(DIRECTORY packaging/rsyslog/ DESTINATION ${doc}/examples COMPONENT agent)
compressed(${CMAKE_SOURCE_DIR}/packaging/vorgate-agent.8 ${CMAKE_INSTALL_MANDIR}/man8
  vorgate-agent.8 agent)
set(CPACK_DEBIAN_AGENT_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_AGENT_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_AGENT_PACKAGE_SUGGESTS "${PACKAGE_module}, logrotate")

package(module php-vorgate "runtime protection for PHP ${PHP}"
  "Watches dangerous functions, the compilation of code and SQL queries. When
data of the HTTP request reaches such a call in the shape of an attack, it
reports one event, and stops the call if the agent's policy says so.")
install(FILES packaging/vorgate.ini DESTINATION /etc/php/${PHP}/mods-available COMPONENT module)
set(CPACK_DEBIAN_MODULE_PACKAGE_SECTION php)
set(CPACK_DEBIAN_MODULE_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_MODULE_PACKAGE_PREDEPENDS "php-common (>= 2:69~)")
set(CPACK_DEBIAN_MODULE_PACKAGE_DEPENDS "php${PHP}-common, phpapi-${php_api}")
set(CPACK_DEBIAN_MODULE_PACKAGE_RECOMMENDS ${PACKAGE_agent})

package(demo vorgate-demo "vulnerable sample application to watch vorgate at work"
  "A site for Apache, on the loopback address alone, and not enabled by itself.
It is vulnerable on purpose: never install it on a machine that serves
anything else.")
install(DIRECTORY demo/app demo/intranet DESTINATION ${CMAKE_INSTALL_DATADIR}/vorgate-demo
  COMPONENT demo)
install(FILES packaging/vorgate-demo/vorgate-demo.conf DESTINATION /etc/apache2/sites-available
  COMPONENT demo)
set(CPACK_DEBIAN_DEMO_PACKAGE_SECTION web)
set(CPACK_DEBIAN_DEMO_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DEMO_PACKAGE_DEPENDS
  "apache2, libapache2-mod-php${PHP}, php${PHP}-curl, php${PHP}-sqlite3")
set(CPACK_DEBIAN_DEMO_PACKAGE_RECOMMENDS "${PACKAGE_module}, php${PHP}-yaml")

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL agent module demo)
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${maintainer})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
include(CPack)
