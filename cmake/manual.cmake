# cmake -DSCANHOST= -DSIMULATOR= -DFOLDER= -DVERSION= -DCONTACT= -P manual.cmake: what the programs say
# of themselves, as pages for man, compressed, and as a completion for bash; a change log in Debian's
# form.
execute_process(COMMAND ${SCANHOST} man OUTPUT_FILE ${FOLDER}/scanhost.1 COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${SCANHOST} completion OUTPUT_FILE ${FOLDER}/scanhost COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${SIMULATOR} --help OUTPUT_VARIABLE help COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "\\" "\\e" help "${help}")
string(REPLACE "-" "\\-" help "${help}")
string(REGEX REPLACE "\n([.'])" "\n\\\\&\\1" help "${help}")
file(WRITE ${FOLDER}/scantk-sim.1 ".TH SCANTK-SIM 1\n.SH NAME\nscantk\\-sim \\- simulated scanners\n"
                                  ".SH DESCRIPTION\n.nf\n${help}.fi\n")
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${FOLDER}/changelog "scantk (${VERSION}) unstable; urgency=medium\n\n  * What changed: CHANGELOG.md, "
                               "in libscantk-dev.\n\n -- ${CONTACT}  ${date}\n")
execute_process(COMMAND gzip -9nf scanhost.1 scantk-sim.1 changelog WORKING_DIRECTORY ${FOLDER}
                COMMAND_ERROR_IS_FATAL ANY)
