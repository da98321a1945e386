# SONAME .so.1, and a version script that lets only the listed names out.
function(quilkova_shared_library_abi target version_script)
  target_link_options(${target} PRIVATE -Wl,--version-script=${version_script})
  if(NOT QUILKOVA_SANITIZE AND NOT QUILKOVA_FUZZ)
    # The sanitizer runtime is resolved by the executable, not by the library.
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION 1
    LINK_DEPENDS ${version_script})
endfunction()
