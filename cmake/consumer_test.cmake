# Installs the built Engine3D into a fresh prefix, then builds and runs the
# outside project tests/consumer twice: once through find_package(Engine3D),
# once with a plain compiler call fed by pkg-config; the import library's
# consumer too when it was built.
# -D: BUILD_DIR, CONSUMER_DIR, WORK_DIR, C_COMPILER, C_FLAGS, LINK_FLAGS, and
# EMULATOR (optional: what runs the built programs, as for the 32-bit tests)
cmake_minimum_required(VERSION 3.25)

include(${CMAKE_CURRENT_LIST_DIR}/run_step.cmake)

file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
run("install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# 1. CMake package.
run("configure with find_package" ${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/cmake-build
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_C_COMPILER=${C_COMPILER}
    "-DCMAKE_C_FLAGS=${C_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${LINK_FLAGS}")
run("build with find_package" ${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run("run the find_package consumer" ${EMULATOR} ${WORK_DIR}/cmake-build/consumer)
run("run the find_package consumer, static engine" ${EMULATOR} ${WORK_DIR}/cmake-build/consumer_static)
if(EXISTS ${WORK_DIR}/cmake-build/consumer_import)
  run("run the find_package consumer of the import library" ${EMULATOR} ${WORK_DIR}/cmake-build/consumer_import)
endif()

# 2. pkg-config. The .pc file lies under the library directory, whatever
# its name on this system.
file(GLOB_RECURSE pc_file ${prefix}/*/engine3d.pc)
if(NOT pc_file)
  message(FATAL_ERROR "engine3d.pc was not installed")
endif()
get_filename_component(pc_dir ${pc_file} DIRECTORY)
find_program(PKG_CONFIG NAMES pkg-config pkgconf REQUIRED)
set(ENV{PKG_CONFIG_PATH} ${pc_dir})
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs engine3d OUTPUT_VARIABLE pc_flags
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${PKG_CONFIG} --variable=libdir engine3d OUTPUT_VARIABLE pc_libdir
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
separate_arguments(c_flags UNIX_COMMAND "${C_FLAGS} ${LINK_FLAGS}")
run("build with pkg-config" ${C_COMPILER} ${c_flags} ${CONSUMER_DIR}/consumer.c ${pc_flags}
    -Wl,-rpath,${pc_libdir} -o ${WORK_DIR}/pkg-config-consumer)
run("run the pkg-config consumer" ${EMULATOR} ${WORK_DIR}/pkg-config-consumer)

# The import library's .pc file, when it was installed.
file(GLOB_RECURSE import_pc ${prefix}/*/engine3d_import.pc)
if(import_pc)
  execute_process(COMMAND ${PKG_CONFIG} --cflags --libs engine3d_import OUTPUT_VARIABLE import_flags
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(import_flags UNIX_COMMAND "${import_flags}")
  run("build the import consumer with pkg-config" ${C_COMPILER} ${c_flags} ${CONSUMER_DIR}/consumer_import.c
      ${import_flags} -Wl,-rpath,${pc_libdir} -o ${WORK_DIR}/pkg-config-import-consumer)
  run("run the pkg-config import consumer" ${EMULATOR} ${WORK_DIR}/pkg-config-import-consumer)
endif()

# 3. A fully static program through pkg-config --static (the sanitizers'
# runtimes cannot be linked statically: that build skips it).
if(C_FLAGS MATCHES "-fsanitize")
  message(STATUS "fully static consumer: skipped under the sanitizers")
  return()
endif()
execute_process(COMMAND ${PKG_CONFIG} --static --cflags --libs engine3d OUTPUT_VARIABLE pc_static
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(pc_static UNIX_COMMAND "${pc_static}")
run("build fully static with pkg-config --static" ${C_COMPILER} ${c_flags} ${CONSUMER_DIR}/consumer.c ${pc_static}
    -static -o ${WORK_DIR}/static-consumer)
file(READ ${WORK_DIR}/static-consumer elf_head LIMIT 4096 HEX)
if(elf_head MATCHES "2f6c6962[0-9a-f]*2f6c642d")  # "/lib.../ld-": an interpreter
  message(FATAL_ERROR "the static consumer still names a dynamic loader")
endif()
run("run the fully static consumer" ${EMULATOR} ${WORK_DIR}/static-consumer)
