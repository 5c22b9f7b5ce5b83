# cmake -DPROGRAM=oscctl -DSHELL_NAME=bash|zsh -DOUTPUT=file -P write_completion.cmake
get_filename_component(directory ${OUTPUT} DIRECTORY)
file(MAKE_DIRECTORY ${directory})
execute_process(COMMAND ${PROGRAM} completion ${SHELL_NAME}
  OUTPUT_FILE ${OUTPUT} RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} completion ${SHELL_NAME} failed: ${status}")
endif()
