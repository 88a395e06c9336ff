# Manual pages, and completion for bash and zsh: made by tools/make-manuals of what the built
# programs tell of themselves. Without Python there are none, and nothing else is missing.
find_program(PCSIM_PYTHON3 python3)
set(PCSIM_MANUALS ${CMAKE_BINARY_DIR}/manuals)

if(PCSIM_PYTHON3)
    set(programs pcsim pcsim-nics pcsim-probe)
    if(TARGET pcsimctl)
        list(APPEND programs pcsimctl)
    endif()
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/*.md
         ${PROJECT_SOURCE_DIR}/tools/manuals/*.py ${PROJECT_SOURCE_DIR}/include/pcsim/*.h
         ${PROJECT_SOURCE_DIR}/docs/protocol*.md
         ${PROJECT_SOURCE_DIR}/python/pcsim/campaign/options.py
         ${PROJECT_SOURCE_DIR}/python/pcsim_lab/tool.py
         ${PROJECT_SOURCE_DIR}/python/pcsim_web/options.py)
    string(TIMESTAMP date %Y-%m-%d UTC)
    add_custom_command(OUTPUT ${PCSIM_MANUALS}/made
        COMMAND ${CMAKE_COMMAND} -E rm -rf ${PCSIM_MANUALS}
        COMMAND ${PCSIM_PYTHON3} -B ${PROJECT_SOURCE_DIR}/tools/make-manuals ${CMAKE_BINARY_DIR}
                ${PCSIM_MANUALS} ${PROJECT_VERSION} ${date}
        COMMAND ${CMAKE_COMMAND} -E touch ${PCSIM_MANUALS}/made
        DEPENDS ${programs} pcsimulation ${sources} ${PROJECT_SOURCE_DIR}/tools/make-manuals
        COMMENT "Making manuals and completion")
    add_custom_target(manuals ALL DEPENDS ${PCSIM_MANUALS}/made)
    add_dependencies(installable manuals)
    install(DIRECTORY ${PCSIM_MANUALS}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR})
    install(DIRECTORY ${PCSIM_MANUALS}/bash/
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    install(DIRECTORY ${PCSIM_MANUALS}/zsh/ DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
else()
    message(STATUS "There is no python3: manuals and completion are not made")
endif()
