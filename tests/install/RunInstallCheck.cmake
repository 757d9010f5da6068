# Run with cmake -P; see CMakeLists.txt in this folder for the variables.
function(run what)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${what} failed (${result}):\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

# The application's output must show every check passed and one log line of the
# form "Nov21 14:03:22 <DcDict::getVrDef> VR 'ae' is not in dictionary".
function(check_output how output)
  if(output MATCHES "FAILED")
    message(FATAL_ERROR "${how}: a check failed:\n${output}")
  endif()
  string(REGEX MATCHALL "ok: " passed "${output}")
  list(LENGTH passed count)
  if(NOT count EQUAL 5)
    message(FATAL_ERROR "${how}: expected 5 passed checks, got ${count}:\n${output}")
  endif()
  set(stamp "(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec)[0-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9]")
  if(NOT output MATCHES "(^|\n)${stamp} <DcDict::getVrDef> VR 'ae' is not in dictionary\n")
    message(FATAL_ERROR "${how}: no log line for the unknown VR name:\n${output}")
  endif()
endfunction()

set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
run("install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

set(extra_flags "")
if(SANITIZE)
  set(extra_flags "-fsanitize=address,undefined")
endif()

# find_package
run("configure with find_package" ${CMAKE_COMMAND} -S ${APP_DIR} -B ${WORK_DIR}/cmake-build
  -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${extra_flags}"
  -DCMAKE_BUILD_TYPE=Release)
run("build with find_package" ${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run("run the find_package build" ${WORK_DIR}/cmake-build/brenik3-install-check)
check_output("find_package build" "${run_output}")

# pkg-config
find_program(PKG_CONFIG pkg-config)
if(NOT PKG_CONFIG)
  message(STATUS "pkg-config not found: the pkg-config build is skipped")
  return()
endif()
file(GLOB_RECURSE pc_files ${prefix}/*/brenik3.pc)
list(GET pc_files 0 pc_file)
get_filename_component(pc_dir ${pc_file} DIRECTORY)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
run("pkg-config" ${PKG_CONFIG} --cflags --libs brenik3)
string(STRIP "${run_output}" pc_flags)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
string(REGEX MATCH "-L[^ ;]+" libdir_flag "${pc_flags}")
string(SUBSTRING "${libdir_flag}" 2 -1 libdir)
separate_arguments(extra_list UNIX_COMMAND "${extra_flags}")
run("build with pkg-config" ${CXX} -std=c++17 ${extra_list} ${APP_DIR}/main.cpp ${pc_flags}
  -Wl,-rpath,${libdir} -o ${WORK_DIR}/pkg-config-check)
run("run the pkg-config build" ${WORK_DIR}/pkg-config-check)
check_output("pkg-config build" "${run_output}")
