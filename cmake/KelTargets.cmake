# The shapes that every target of this tree has: one object library per folder, programs that take every object of
# the folders they name. Object libraries, and not archives, because log sources, parameters and texts register
# themselves from static initialisers: nothing may be dropped just because no symbol of it is referred to.

find_package(Threads REQUIRED)

add_library(kel_options INTERFACE)
target_include_directories(kel_options INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(kel_options INTERFACE -Wall -Wextra -Wshadow
  "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=" -fno-plt -ffunction-sections -fdata-sections)
target_compile_definitions(kel_options INTERFACE _FILE_OFFSET_BITS=64 _GNU_SOURCE)
target_link_libraries(kel_options INTERFACE Threads::Threads)
if(KEL_WERROR)
  target_compile_options(kel_options INTERFACE -Werror)
endif()
if(KEL_SANITIZE)
  target_compile_options(kel_options INTERFACE -fsanitize=${KEL_SANITIZE} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  target_link_options(kel_options INTERFACE -fsanitize=${KEL_SANITIZE})
endif()
if(KEL_FUZZ)
  target_compile_options(kel_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# kel_room(FOLDER [ON folders...] [LINK libraries...]): the object library of one folder, which is called as the folder
# is with "_" for "/". The folders that it stands on come before it.
function(kel_room folder)
  cmake_parse_arguments(arg "" "" "ON;LINK" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${folder}/*.cpp")
  string(REPLACE "/" "_" name "${folder}")
  add_library(${name} OBJECT ${sources})
  target_link_libraries(${name} PUBLIC kel_options ${arg_LINK})
  foreach(below IN LISTS arg_ON)
    string(REPLACE "/" "_" below "${below}")
    if(NOT TARGET ${below})
      message(FATAL_ERROR "${folder} stands on ${below}, which comes later or not at all")
    endif()
    target_link_libraries(${name} PUBLIC ${below})
  endforeach()
  set_property(GLOBAL APPEND PROPERTY KEL_ROOMS ${name})
endfunction()

# kel_program(NAME LIBS...): a program from every source of the current folder and the objects of LIBS.
function(kel_program name)
  file(GLOB sources CONFIGURE_DEPENDS *.cpp)
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE kel_options ${ARGN})
  if(NOT KEL_SANITIZE)
    # The dynamic C++ run-time alone would cost a third of the start-up time.
    target_link_options(${name} PRIVATE -static-libstdc++ -static-libgcc -Wl,-z,now -Wl,--hash-style=gnu
      -Wl,--as-needed -Wl,--gc-sections)
  endif()
  target_compile_definitions(${name} PRIVATE KEL_VERSION="${PROJECT_VERSION}" KEL_REVISION="${PROJECT_VERSION_TWEAK}"
    KEL_RELEASE="${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}.${PROJECT_VERSION_PATCH}")
  install(TARGETS ${name})
endfunction()
