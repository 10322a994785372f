# The catalogues of Resources/Translations, compiled into the program.
set(LUMICRATE_LANGUAGES de es fr ja)
set(LUMICRATE_TRANSLATIONS "${PROJECT_SOURCE_DIR}/Resources/Translations")

# Adds the compiled catalogues to a target, as the Qt resource :/Translations. The template becomes the English one: it
# knows all texts and the English plurals.
function(lumicrate_translations TARGET)
  find_program(LCONVERT lconvert HINTS /usr/lib/qt6/bin REQUIRED)
  find_program(MSGEN msgen REQUIRED)
  set(FOLDER "${CMAKE_CURRENT_BINARY_DIR}/Translations")
  file(MAKE_DIRECTORY "${FOLDER}")
  add_custom_command(OUTPUT "${FOLDER}/en.po" DEPENDS "${LUMICRATE_TRANSLATIONS}/lumicrate.pot"
                     COMMAND "${MSGEN}" --lang=en -o "${FOLDER}/en.po" "${LUMICRATE_TRANSLATIONS}/lumicrate.pot" VERBATIM)
  set(ENTRIES "")
  foreach(LANGUAGE en ${LUMICRATE_LANGUAGES})
    set(SOURCE "${LUMICRATE_TRANSLATIONS}/${LANGUAGE}.po")
    if(LANGUAGE STREQUAL "en")
      set(SOURCE "${FOLDER}/en.po")
    endif()
    add_custom_command(OUTPUT "${FOLDER}/${LANGUAGE}.qm" DEPENDS "${SOURCE}"
                       COMMAND "${LCONVERT}" -target-language ${LANGUAGE} -of qm -o "${FOLDER}/${LANGUAGE}.qm" -i "${SOURCE}"
                       VERBATIM)
    list(APPEND COMPILED "${FOLDER}/${LANGUAGE}.qm")
    string(APPEND ENTRIES "<file>${LANGUAGE}.qm</file>")
  endforeach()
  file(CONFIGURE OUTPUT "${FOLDER}/Translations.qrc" @ONLY
       CONTENT "<RCC><qresource prefix=\"/Translations\">@ENTRIES@</qresource></RCC>\n")
  qt_add_resources(RESOURCES "${FOLDER}/Translations.qrc")
  set_property(SOURCE ${RESOURCES} APPEND PROPERTY OBJECT_DEPENDS "${COMPILED}")
  target_sources(${TARGET} PRIVATE ${RESOURCES})
endfunction()

# `translations-update` collects the texts of the sources and puts the new ones into all catalogues.
add_custom_target(translations-update COMMAND "${PROJECT_SOURCE_DIR}/Scripts/translations" update VERBATIM)
