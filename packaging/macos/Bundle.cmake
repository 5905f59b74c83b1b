# Makes the application bundle, and puts Qt into it at installation.
set_target_properties(brindle PROPERTIES
    OUTPUT_NAME Brindle
    MACOSX_BUNDLE ON
    MACOSX_BUNDLE_INFO_PLIST "${CMAKE_CURRENT_SOURCE_DIR}/macos/Info.plist.in")

# iconutil requires these names.
set(iconset "${CMAKE_CURRENT_BINARY_DIR}/Brindle.iconset")
foreach(side 16 32 128 256 512)
    math(EXPR twice "2 * ${side}")
    draw_icon(${side} "${iconset}/icon_${side}x${side}.png")
    draw_icon(${twice} "${iconset}/icon_${side}x${side}@2x.png")
endforeach()
add_custom_command(
    OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/Brindle.icns"
    COMMAND iconutil --convert icns --output Brindle.icns "${iconset}"
    DEPENDS ${drawn})
add_custom_target(packaging ALL DEPENDS "${CMAKE_CURRENT_BINARY_DIR}/Brindle.icns")
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/Brindle.icns"
    DESTINATION Brindle.app/Contents/Resources)

# Qt's own tool copies its frameworks, plugins and QML modules into the bundle.
find_package(Qt6 REQUIRED COMPONENTS Qml)
if(Qt6_VERSION VERSION_GREATER_EQUAL 6.5)
    qt_generate_deploy_qml_app_script(TARGET brindle OUTPUT_SCRIPT deploy)
else()
    qt_generate_deploy_qml_app_script(TARGET brindle FILENAME_VARIABLE deploy)
endif()
install(SCRIPT "${deploy}")
