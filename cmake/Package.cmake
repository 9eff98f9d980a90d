# `make package`: a Debian package of what `make install` installs, below /usr.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_CONTACT "The yfcurve authors")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
# Whatever the umask of whoever makes it.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "animation curves and recorded motion")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Cleans, converts, compares, plots and edits recorded motion (BVH, glTF and
scene files) by the program yfcurve, and in the browser by its editor.

The C++ libraries behind it are part of the package, with their headers:
curves with keys and tangents, layers, filters and whole scenes.")
# Of the libraries that are linked; those of the package itself are beside the program.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS xdg-utils)

include(CPack)
