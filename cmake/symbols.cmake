# Symbols and debug information go into a file of its own, "<program>.debug", that the debugger finds by its name. What is shipped
# stays small, and nothing that walks the loaded modules of a crashing process has to read through it.
function(wrenfall_split_symbols target)
  if(NOT MINGW OR NOT CMAKE_OBJCOPY OR NOT CMAKE_STRIP)
    return()
  endif()
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug $<TARGET_FILE:${target}>
            $<TARGET_FILE:${target}>.debug
    COMMAND ${CMAKE_STRIP} --strip-all $<TARGET_FILE:${target}>
    COMMAND ${CMAKE_OBJCOPY} --add-gnu-debuglink=$<TARGET_FILE:${target}>.debug
            $<TARGET_FILE:${target}>
    VERBATIM)
endfunction()
