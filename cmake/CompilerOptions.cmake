# Warnings for every target of the project; the test build turns them into errors
# and runs under AddressSanitizer + UndefinedBehaviorSanitizer.
add_library(vantor_compile_options INTERFACE)
target_compile_options(vantor_compile_options INTERFACE
  -Wall -Wextra -Wpedantic -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual)
target_compile_definitions(vantor_compile_options INTERFACE
  QT_NO_KEYWORDS QT_NO_URL_CAST_FROM_STRING)

if(VANTOR_TEST_BUILD)
  set(_sanitizers -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  target_compile_options(vantor_compile_options INTERFACE -Werror ${_sanitizers})
  target_link_options(vantor_compile_options INTERFACE ${_sanitizers})
endif()
