# Compresses manual pages and the changelog in the tree that is about to be packed.
file(GLOB texts ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share/man/man?/*.?
  ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr/share/doc/mvk/changelog)
execute_process(COMMAND gzip -9n ${texts} COMMAND_ERROR_IS_FATAL ANY)
