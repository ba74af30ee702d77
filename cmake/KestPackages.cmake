# What CPack makes of an install: for Windows an archive with everything and one with the debug
# information, for Debian the packages libkest0, libkest-dev and kest. scripts/packages.sh calls it,
# with what makes two runs give the same files.

set(CPACK_PACKAGE_NAME kest)
set(CPACK_PACKAGE_VENDOR "the Kest maintainers")
# Our choice: the project has no address of its own yet; this one belongs to nobody.
set(CPACK_PACKAGE_CONTACT "Kest Maintainers <maintainers@example.org>")
# The packages have descriptions of their own; this one would stand before them.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
# Everything that is shipped can be read by everybody, whatever the packer's umask is.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

if(MINGW)
    include(KestWindowsPackage)
elseif(CMAKE_LIBRARY_ARCHITECTURE AND EXISTS /etc/debian_version AND NOT KEST_SANITIZERS)
    include(KestDebianPackages)
endif()
include(CPack)
