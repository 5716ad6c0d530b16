# Flags that hold for every target of ours. A target joins with house_rules(NAME).
function(house_rules target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wconversion -Wshadow
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
  target_compile_definitions(${target} PRIVATE _GNU_SOURCE)
  if(TAVOHA_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${TAVOHA_SANITIZE} -fno-omit-frame-pointer
      -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${TAVOHA_SANITIZE})
  endif()
endfunction()
