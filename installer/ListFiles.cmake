# cmake -DSTAGE=<folder> -DOUT=<folder> -P ListFiles.cmake: writes what the
# installer puts in place, and what the uninstaller takes away again, out of
# what is staged. The uninstaller so deletes the product's files one by one and
# nothing that somebody else has put into the folder.
file(GLOB_RECURSE files RELATIVE ${STAGE} ${STAGE}/*)
set(folders)
set(install)
set(uninstall)
foreach(file IN LISTS files)
  get_filename_component(folder ${file} DIRECTORY)
  string(REPLACE "/" "\\" windows_file ${file})
  string(REPLACE "/" "\\" windows_folder "${folder}")
  string(APPEND install
    "SetOutPath \"$INSTDIR\\${windows_folder}\"\nFile \"${STAGE}/${file}\"\n")
  string(APPEND uninstall "Delete \"$INSTDIR\\${windows_file}\"\n")
  if(folder)
    list(APPEND folders ${windows_folder})
  endif()
endforeach()
if(folders)
  list(REMOVE_DUPLICATES folders)
  list(SORT folders ORDER DESCENDING)
endif()
foreach(folder IN LISTS folders)
  string(APPEND uninstall "RMDir \"$INSTDIR\\${folder}\"\n")
endforeach()
file(WRITE ${OUT}/install-files.nsh "${install}")
file(WRITE ${OUT}/uninstall-files.nsh "${uninstall}")
