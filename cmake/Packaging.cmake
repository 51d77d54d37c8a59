# What is installed where, and the Debian package that is made of it (scripts/package).
include(GNUInstallDirs)
find_program(GZIP_PROGRAM gzip REQUIRED)
find_program(RSVG_PROGRAM rsvg-convert REQUIRED)

set(packaging ${CMAKE_SOURCE_DIR}/packaging)
set(packaged ${CMAKE_BINARY_DIR}/packaging)
set(made "")

# quillet_make_file(FILE COMMAND...): a file that a command prints.
function(quillet_make_file file)
  add_custom_command(OUTPUT ${packaged}/${file}
    COMMAND ${ARGN} > ${packaged}/${file} DEPENDS quillet VERBATIM)
  set(made ${made} ${packaged}/${file} PARENT_SCOPE)
endfunction()

# ---- manual and completions --------------------------------------------------------------------
quillet_make_file(quillet.1 $<TARGET_FILE:quillet> manual)
quillet_make_file(quillet.bash $<TARGET_FILE:quillet> completions bash)
quillet_make_file(_quillet $<TARGET_FILE:quillet> completions zsh)
quillet_make_file(quillet.fish $<TARGET_FILE:quillet> completions fish)
configure_file(${packaging}/quillet-app.1.in ${packaged}/quillet-app.1 @ONLY)

# quillet_compress(FROM TO)
function(quillet_compress from to)
  add_custom_command(OUTPUT ${packaged}/${to}
    COMMAND ${GZIP_PROGRAM} --best --no-name --stdout ${from} > ${packaged}/${to}
    DEPENDS ${from} VERBATIM)
  set(made ${made} ${packaged}/${to} PARENT_SCOPE)
endfunction()
quillet_compress(${packaged}/quillet.1 quillet.1.gz)
quillet_compress(${packaged}/quillet-app.1 quillet-app.1.gz)
quillet_compress(${packaging}/changelog changelog.gz)

# ---- icons ---------------------------------------------------------------------------------------
set(icons ${CMAKE_INSTALL_DATADIR}/icons/hicolor)
foreach(size 16 22 24 32 48 64 128 256)
  add_custom_command(OUTPUT ${packaged}/${size}.png
    COMMAND ${RSVG_PROGRAM} --width ${size} --height ${size} --output ${packaged}/${size}.png
            ${packaging}/icons/com.quillet.Quillet.svg
    DEPENDS ${packaging}/icons/com.quillet.Quillet.svg VERBATIM)
  list(APPEND made ${packaged}/${size}.png)
  install(FILES ${packaged}/${size}.png DESTINATION ${icons}/${size}x${size}/apps
          RENAME com.quillet.Quillet.png)
endforeach()
install(FILES ${packaging}/icons/com.quillet.Quillet.svg DESTINATION ${icons}/scalable/apps)
install(FILES ${packaging}/icons/com.quillet.Quillet-symbolic.svg
        DESTINATION ${icons}/symbolic/apps)

add_custom_target(quillet-packaging ALL DEPENDS ${made})

# ---- programs and what tells the system of them --------------------------------------------------
install(TARGETS quillet quillet-app DESTINATION bin)
# Only the two call these.
install(TARGETS quillet-tools quillet-accessibility DESTINATION lib/quillet)
install(FILES ${packaging}/com.quillet.Quillet.desktop DESTINATION share/applications)
install(FILES ${packaging}/com.quillet.Quillet.metainfo.xml DESTINATION share/metainfo)
configure_file(${packaging}/com.quillet.Quillet.service.in
               ${packaged}/com.quillet.Quillet.service @ONLY)
install(FILES ${packaged}/com.quillet.Quillet.service DESTINATION share/dbus-1/services)
configure_file(${packaging}/quillet.service.in ${packaged}/quillet.service @ONLY)
install(FILES ${packaged}/quillet.service DESTINATION lib/systemd/user)
install(FILES ${packaged}/quillet.1.gz ${packaged}/quillet-app.1.gz DESTINATION share/man/man1)
install(FILES ${packaged}/quillet.bash DESTINATION share/bash-completion/completions
        RENAME quillet)
install(FILES ${packaged}/_quillet DESTINATION share/zsh/vendor-completions)
install(FILES ${packaged}/quillet.fish DESTINATION share/fish/vendor_completions.d)
install(FILES ${packaging}/copyright ${packaged}/changelog.gz DESTINATION share/doc/quillet)

install(DIRECTORY ${CMAKE_BINARY_DIR}/share/locale DESTINATION share)

# ---- recognition on the device, where it was fetched --------------------------------------------
execute_process(COMMAND ${CMAKE_SOURCE_DIR}/scripts/fetch-speech-engine --where
  OUTPUT_VARIABLE speech OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE absent ERROR_QUIET)
if(absent EQUAL 0)
  # Two folders deep, for a library nearer to /usr/lib would have the linker's cache made anew, and
  # this one is only loaded by name.
  install(FILES ${speech}/engine/libvosk.so DESTINATION lib/quillet/engine)
  install(DIRECTORY ${speech}/models/en DESTINATION share/quillet/models)
endif()

# ---- the package -----------------------------------------------------------------------------------
set(CPACK_PACKAGE_NAME quillet)
set(CPACK_PACKAGE_CONTACT "The Quillet Developers <packages@quillet.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "voice dictation for the desktop")
set(CPACK_PACKAGE_DESCRIPTION
"Press a chord, speak, press it again: the words stand where you type.
Speech is recognised on this machine or by a server of your choice, and
typed into whatever application has the focus. A history, a personal
vocabulary and the notes of meetings stay on this machine.
.
The package holds the desktop application and the quillet command.")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL OFF)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "at-spi2-core, default-dbus-session-bus | dbus-session-bus, gnome-keyring | keepassxc, pipewire-pulse | pulseaudio, xdg-utils")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "qt6-wayland, qt6-translations-l10n")
include(CPack)
