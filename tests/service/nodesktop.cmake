# Fails when the binary given as BINARY loads any part of a desktop stack: the broker service
# runs on servers that have none, and its package must not pull one in.
execute_process(COMMAND ldd ${BINARY} OUTPUT_VARIABLE libraries RESULT_VARIABLE failed)
if(failed)
    message(FATAL_ERROR "ldd could not read ${BINARY}")
endif()
string(REGEX MATCHALL "[^\n\t /]*(Qt6(Gui|Widgets|PrintSupport|OpenGL|DBus|XcbQpa)|libX|libxcb|libGL|libEGL|libOpenGL|libwayland|libfontconfig|libfreetype|libxkb|libhunspell)[^\n\t ]*"
       desktop "${libraries}")
if(desktop)
    list(REMOVE_DUPLICATES desktop)
    message(FATAL_ERROR "${BINARY} links desktop libraries: ${desktop}")
endif()
message(STATUS "${BINARY}: no desktop library")
