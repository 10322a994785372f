# Run by cpack on the installed files, before they become a package: adds what Debian requires, and makes the times of
# all files those of the release, so that two builds give the same bytes.
set(SOURCE "${CMAKE_CURRENT_LIST_DIR}/../..")
set(FILES "${CPACK_TEMPORARY_INSTALL_DIRECTORY}")
set(DOC "${FILES}/usr/share/doc/${CPACK_PACKAGE_NAME}")

file(MAKE_DIRECTORY "${DOC}")
configure_file("${CMAKE_CURRENT_LIST_DIR}/copyright" "${DOC}/copyright" COPYONLY)
configure_file("${CMAKE_CURRENT_LIST_DIR}/changelog" "${DOC}/changelog.Debian" COPYONLY)
configure_file("${SOURCE}/CHANGELOG.md" "${DOC}/changelog" COPYONLY)
file(GLOB_RECURSE COMPRESSED "${FILES}/usr/share/man/*.[1-9]")
# Without the name and time of the file.
execute_process(COMMAND gzip -9n "${DOC}/changelog.Debian" "${DOC}/changelog" ${COMPRESSED} COMMAND_ERROR_IS_FATAL ANY)

file(GLOB_RECURSE ALL LIST_DIRECTORIES true "${FILES}/*")
foreach(FILE IN LISTS ALL)
  if(IS_DIRECTORY "${FILE}" OR FILE MATCHES "/usr/bin/")
    set(MODE 755)
  else()
    set(MODE 644)
  endif()
  execute_process(COMMAND chmod ${MODE} "${FILE}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND touch --no-dereference "--date=@$ENV{SOURCE_DATE_EPOCH}" ${ALL} COMMAND_ERROR_IS_FATAL ANY)
endif()
