# What is installed: the library, the headers listed here by name, and the files by which other projects find them.
include(CMakePackageConfigHelpers)

set(public_headers CPicture.h CTime.h ConnectedState.h FindFeeds.h HTTPFetchSubscriber.h Html.h NewsArchive.h NewsDetails.h NewsServer.h OPML.h
  ParseFeed.h Profile.h RSSObject.h StatusTexts.h)
list(TRANSFORM public_headers PREPEND ${PROJECT_SOURCE_DIR}/include/quillmoria/)
set(generated_headers Version.h export.h)
list(TRANSFORM generated_headers PREPEND ${PROJECT_BINARY_DIR}/include/quillmoria/)
install(FILES ${public_headers} ${generated_headers}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quillmoria COMPONENT development)
install(TARGETS quillmoria EXPORT quillmoriaTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/quillmoria)
configure_package_config_file(cmake/quillmoriaConfig.cmake.in quillmoriaConfig.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(quillmoriaConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT quillmoriaTargets NAMESPACE quillmoria:: DESTINATION ${package_folder} COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/quillmoriaConfig.cmake ${PROJECT_BINARY_DIR}/quillmoriaConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT development)
file(RELATIVE_PATH pkgconfig_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/quillmoria.pc.in quillmoria.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quillmoria.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
