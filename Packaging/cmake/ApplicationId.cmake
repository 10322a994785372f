# LUMICRATE_APPLICATION_ID in the forms that the desktop needs, and the header through which the sources know it.
if(NOT LUMICRATE_APPLICATION_ID MATCHES "^[A-Za-z_][A-Za-z0-9_]*(\\.[A-Za-z_][A-Za-z0-9_]*)+$")
  # Hyphens are allowed in names on D-Bus, but not in the path of the object, and their replacement there is disputed.
  message(FATAL_ERROR "LUMICRATE_APPLICATION_ID must be like org.example.Lumicrate: "
                      "two or more words of letters, digits and _, none of which begins with a digit")
endif()
string(REPLACE "." "/" LUMICRATE_OBJECT_PATH "/${LUMICRATE_APPLICATION_ID}")
# Of the few targets that need it, so that another identifier compiles nothing else again.
add_library(lumicrate-application-id INTERFACE)
target_include_directories(lumicrate-application-id INTERFACE "${PROJECT_BINARY_DIR}/Generated")
configure_file("${PROJECT_SOURCE_DIR}/Sources/Support/ApplicationId.h.in"
               "${PROJECT_BINARY_DIR}/Generated/Support/ApplicationId.h" @ONLY)
