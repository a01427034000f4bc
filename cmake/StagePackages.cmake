# CPack runs this between installing and packing: what a Debian package has and another installation has not.
cmake_minimum_required(VERSION 3.22)
set(stage ${CPACK_TEMPORARY_DIRECTORY})

# The linker knows the library's folder.
file(RPATH_REMOVE FILE ${stage}/program/usr/bin/quillmoria)

# The changelog of the packages has one entry, for the version on top of the project's own.
set(changelog ${CMAKE_CURRENT_LIST_DIR}/../CHANGELOG.md)
file(STRINGS ${changelog} top REGEX "^## \\[[0-9]" LIMIT_COUNT 1)
if(NOT top MATCHES "^## \\[(.*)\\] - (.*)$" OR NOT CMAKE_MATCH_1 STREQUAL CPACK_PACKAGE_VERSION)
  message(FATAL_ERROR "${changelog} does not begin with version ${CPACK_PACKAGE_VERSION}: ${top}")
endif()
execute_process(COMMAND date --utc --rfc-email --date=${CMAKE_MATCH_2} OUTPUT_VARIABLE date COMMAND_ERROR_IS_FATAL ANY)
set(debian_changelog "quillmoria (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * New version; changelog.gz says what has changed.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}")
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} component_name)
  set(folder ${stage}/${component}/usr/share/doc/${CPACK_DEBIAN_${component_name}_PACKAGE_NAME})
  configure_file(${changelog} ${folder}/changelog COPYONLY)
  file(WRITE ${folder}/changelog.Debian "${debian_changelog}")
endforeach()

file(GLOB documents ${stage}/*/usr/share/man/man1/* ${stage}/*/usr/share/doc/*/*)
execute_process(COMMAND gzip --best --no-name --force ${documents} COMMAND_ERROR_IS_FATAL ANY)

# Whatever the umask of who packs.
execute_process(COMMAND chmod --recursive u=rwX,go=rX ${stage} COMMAND_ERROR_IS_FATAL ANY)
