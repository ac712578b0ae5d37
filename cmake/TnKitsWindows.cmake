# What is different on Windows: library names without "lib", and the run-time libraries beside the programs.

if(WIN32)
  set(CMAKE_SHARED_LIBRARY_PREFIX "")
  # Windows looks for a program's libraries in the program's own folder.
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
  if(TN_KITS_RUNTIME_DLLS)
    file(COPY ${TN_KITS_RUNTIME_DLLS} DESTINATION "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
    install(FILES ${TN_KITS_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endif()
