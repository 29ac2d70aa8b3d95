# Vantor's artwork: the tray and window icons, the monochrome symbols (looked up by name),
# the illustrations (light and dark) and the colour table. Every file is checked when the
# resources are made: a missing or unreadable one fails the build instead of showing a
# blank at run time.
set(VANTOR_SYMBOLS
  square.grid.2x2 gearshape plus chevron.left rectangle.3.offgrid wind keyboard
  arrow.triangle.2.circlepath checkmark.circle.fill xmark.circle.fill)
set(VANTOR_ILLUSTRATIONS
  dashboardEmpty dashboardAnimation1 dashboardAnimation2 dashboardAnimation3
  dashboardUnorganized dashboardOrganized)

function(vantor_add_artwork target)
  set(resources ${PROJECT_SOURCE_DIR}/resources)
  set(svgs ${resources}/icons/logo-bw.svg ${resources}/icons/vantor.svg)
  foreach(symbol IN LISTS VANTOR_SYMBOLS)
    list(APPEND svgs ${resources}/symbols/${symbol}.svg)
  endforeach()
  foreach(illustration IN LISTS VANTOR_ILLUSTRATIONS)
    list(APPEND svgs ${resources}/illustrations/${illustration}-light.svg
      ${resources}/illustrations/${illustration}-dark.svg)
  endforeach()
  set(colors ${resources}/theme/colors.json)
  foreach(file IN LISTS svgs colors)
    if(NOT EXISTS ${file})
      message(FATAL_ERROR "Artwork missing: ${file}")
    endif()
  endforeach()

  add_executable(vantor-check-artwork ${PROJECT_SOURCE_DIR}/tools/CheckArtwork.cpp)
  target_link_libraries(vantor-check-artwork PRIVATE Qt6::Gui Qt6::Svg vantor_compile_options)
  set(stamp ${CMAKE_CURRENT_BINARY_DIR}/artwork.checked)
  add_custom_command(OUTPUT ${stamp}
    COMMAND ${CMAKE_COMMAND} -E env QT_QPA_PLATFORM=offscreen ASAN_OPTIONS=detect_leaks=0
      $<TARGET_FILE:vantor-check-artwork> --colors ${colors} ${svgs}
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS vantor-check-artwork ${svgs} ${colors}
    COMMENT "Checking Vantor's artwork")
  add_custom_target(vantor_artwork_checked DEPENDS ${stamp})
  add_dependencies(${target} vantor_artwork_checked)

  qt_add_resources(${target} vantor_artwork PREFIX / BASE ${resources}
    FILES ${svgs} ${colors})
endfunction()
