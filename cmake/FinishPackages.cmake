# CPack runs this on the packages it has made, whose control files lack what CPack cannot say.
cmake_minimum_required(VERSION 3.22)

foreach(package IN LISTS CPACK_PACKAGE_FILES)
  if(NOT package MATCHES "/lib[^/]*$")
    continue()
  endif()
  set(folder ${package}.unpacked)
  set(control ${folder}/DEBIAN)
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${folder} COMMAND_ERROR_IS_FATAL ANY)
  # Packages for several architectures may be installed side by side.
  file(READ ${control}/control fields)
  file(WRITE ${control}/control "Multi-Arch: same\n${fields}")
  # One trigger runs ldconfig for all packages of an installation, where CPack has a script in each.
  file(REMOVE ${control}/postinst ${control}/postrm)
  if(EXISTS ${control}/shlibs)
    file(WRITE ${control}/triggers "activate-noawait ldconfig\n")
  endif()
  execute_process(COMMAND chmod --recursive u=rwX,go=rX ${folder} COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND dpkg-deb --root-owner-group -Zxz --build ${folder} ${package} OUTPUT_QUIET
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
