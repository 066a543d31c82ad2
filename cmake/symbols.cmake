# Puts the symbols and debug information of a program into a file of their own, "<program>.debug", which debuggers find
# by its name. The program stays small, and a walk over the modules of a crashing process reads less.
function(wrenfall_split_symbols target)
  if(NOT MINGW OR NOT CMAKE_OBJCOPY OR NOT CMAKE_STRIP)
    return()
  endif()
  # The newest format that Wine's dbghelp reads, with which wrenfallctl names functions and lines there.
  target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:C,CXX>:-gdwarf-4>)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}>
            $<TARGET_FILE:${target}>.debug
    COMMAND ${CMAKE_STRIP} --strip-all $<TARGET_FILE:${target}>
    COMMAND ${CMAKE_OBJCOPY} --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug
            $<TARGET_FILE:${target}>
    VERBATIM)
endfunction()
