# A distribution package: `scripts/make-deb.sh` configures with TESSARY_PACKAGE_MANAGED=ON and the prefix /usr,
# then CPack's DEB generator packs what `cmake --install` installs. The package manager updates such a copy, so
# it installs the marker the updater looks for, keeps the helper in a folder of its own (libexec/tessary/) and
# carries the documentation Debian asks for.

install(FILES ${CMAKE_CURRENT_LIST_DIR}/md.velmor.tessary.metainfo.xml DESTINATION share/metainfo)
file(WRITE ${CMAKE_BINARY_DIR}/packaging/package-managed "The package manager installs and updates this copy.\n")
install(FILES ${CMAKE_BINARY_DIR}/packaging/package-managed DESTINATION share/tessary)

# Debian wants the change log and the manual page compressed with gzip -9n (no name, no time stamp).
set(TESSARY_DEBIAN_VERSION ${PROJECT_VERSION}-1)
configure_file(${CMAKE_CURRENT_LIST_DIR}/changelog.in ${CMAKE_BINARY_DIR}/packaging/changelog.Debian @ONLY)
execute_process(COMMAND gzip -9n -c ${CMAKE_BINARY_DIR}/packaging/changelog.Debian
    OUTPUT_FILE ${CMAKE_BINARY_DIR}/packaging/changelog.Debian.gz COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND gzip -9n -c ${CMAKE_CURRENT_LIST_DIR}/tessary.1
    OUTPUT_FILE ${CMAKE_BINARY_DIR}/packaging/tessary.1.gz COMMAND_ERROR_IS_FATAL ANY)
install(FILES ${CMAKE_BINARY_DIR}/packaging/changelog.Debian.gz ${CMAKE_CURRENT_LIST_DIR}/copyright
    DESTINATION share/doc/tessary)
install(FILES ${CMAKE_BINARY_DIR}/packaging/tessary.1.gz DESTINATION share/man/man1)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tessary)
set(CPACK_PACKAGE_VENDOR Velmor)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Velmor <support@velmor.md>")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "turn a region of the screen into text on the clipboard")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Tessary recognises the text in a region of the screen that you drag out,
copies it to the clipboard and announces it in a small notice. It reads
Simplified Chinese, Traditional Chinese and English screen text on X11 and
Wayland desktops, on this computer (Tesseract and a neural text-line model),
and can have the text polished by an OpenAI-compatible chat service.")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://velmor.md/tessary/")
# The libraries come from dpkg-shlibdeps; these are loaded at run time without being linked: Tesseract's language
# models, and the Qt platform plugins (xcb is in libqt6gui6; Wayland's in qt6-wayland).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "tesseract-ocr-eng, tesseract-ocr-chi-sim, tesseract-ocr-chi-tra")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "qt6-wayland, qt6-translations-l10n, fonts-noto-cjk, gnome-keyring | kwalletmanager | keepassxc, xdg-desktop-portal")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
