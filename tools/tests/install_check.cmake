# Installs the build into a scratch prefix, then builds the README's host
# example against the installed package twice: with find_package and with
# pkg-config; and the C++ example on the host layer with find_package. Run with cmake -P and BUILD_DIR, SOURCE_DIR, SCRATCH_DIR, GENERATOR.
set(prefix ${SCRATCH_DIR}/prefix)
file(REMOVE_RECURSE ${SCRATCH_DIR})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
endfunction()

# The README shows the example file itself.
file(READ ${SOURCE_DIR}/README.md readme)
file(READ ${SOURCE_DIR}/docs/examples/host.c example)
string(FIND "${readme}" "```c\n${example}```" at)
if(at EQUAL -1)
  message(FATAL_ERROR "README.md does not show docs/examples/host.c as it is")
endif()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(file include/IVeskOSCHandlerInst.h include/oschost/session.h bin/oscctl bin/osc-camera-sim
    share/bash-completion/completions/oscctl share/zsh/site-functions/_oscctl)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
file(GLOB_RECURSE client ${prefix}/*/libVesk_OSC.dylib)
file(GLOB_RECURSE pc_file ${prefix}/*/IVeskOSCHandlerInst.pc)
if(NOT client OR NOT pc_file)
  message(FATAL_ERROR "client library or pkg-config file not installed")
endif()
run(${prefix}/bin/oscctl --help)

# The installed bash completion offers the commands and a command's options,
# also after a global option that takes a value.
function(complete line expected)
  execute_process(COMMAND bash -c "source ${prefix}/share/bash-completion/completions/oscctl
    COMP_WORDS=(${line}); COMP_CWORD=$((\${#COMP_WORDS[@]} - 1)); _oscctl; echo \"\${COMPREPLY[*]}\""
    OUTPUT_VARIABLE offered OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT offered STREQUAL expected)
    message(FATAL_ERROR "completing '${line}': '${offered}', expected '${expected}'")
  endif()
endfunction()
complete("oscctl se" "settings set")
complete("oscctl --timeout 3 ro" "roi")
complete("oscctl update 127.0.0.1 --fw1" "--fw1220 --fw1230")

# find_package consumer.
set(consumer ${SCRATCH_DIR}/consumer)
file(MAKE_DIRECTORY ${consumer})
configure_file(${SOURCE_DIR}/docs/examples/host.c ${consumer}/host.c COPYONLY)
configure_file(${SOURCE_DIR}/docs/examples/host.cpp ${consumer}/host.cpp COPYONLY)
file(WRITE ${consumer}/CMakeLists.txt [=[
cmake_minimum_required(VERSION 3.20)
project(host C CXX)
set(CMAKE_CXX_STANDARD 17)
find_package(IVeskOSCHandlerInst REQUIRED)
add_executable(host host.c)
target_link_libraries(host PRIVATE IVeskOSCHandlerInst::IVeskOSCHandlerInst)
add_executable(host-cpp host.cpp)
target_link_libraries(host-cpp PRIVATE IVeskOSCHandlerInst::osc_host)
]=])
run(${CMAKE_COMMAND} -S ${consumer} -B ${consumer}/build -G ${GENERATOR}
    -DCMAKE_PREFIX_PATH=${prefix})
run(${CMAKE_COMMAND} --build ${consumer}/build)
# Pointed at the installed simulator and client library, each example prints
# both answers it waits for before Destroy.
get_filename_component(client_dir ${client} DIRECTORY)
foreach(example host host-cpp)
  execute_process(COMMAND bash -c [=[
    "$1" --port 0 > "$3/sim.out" & sim=$!
    for i in $(seq 100); do grep -q '^camera ' "$3/sim.out" && break; sleep 0.1; done
    port=$(sed -n 's/^camera 127.0.0.1://p' "$3/sim.out")
    "$2" 127.0.0.1 "$port" "$4"; status=$?
    kill $sim
    exit $status]=] run-host ${prefix}/bin/osc-camera-sim ${consumer}/build/${example}
      ${consumer} ${client_dir}
    RESULT_VARIABLE status OUTPUT_VARIABLE printed ERROR_VARIABLE err)
  if(NOT status EQUAL 0 OR NOT printed MATCHES "SetBrightness ok" OR NOT printed MATCHES "\"got_param\":true")
    message(FATAL_ERROR "${example} example against the simulator: ${status}\n${printed}\n${err}")
  endif()
endforeach()

# pkg-config consumer.
find_program(PKG_CONFIG pkg-config REQUIRED)
find_program(CC NAMES cc gcc clang REQUIRED)
get_filename_component(pc_dir ${pc_file} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs IVeskOSCHandlerInst
  OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "pkg-config does not know IVeskOSCHandlerInst")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CC} ${consumer}/host.c ${flags} -o ${consumer}/host-pc)
message(STATUS "installed package builds the host example")
