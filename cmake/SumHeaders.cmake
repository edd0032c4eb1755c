# Writes a sum of what a command prints. Variables: COMMAND, SUM (the file to write).
execute_process(COMMAND ${COMMAND} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
string(SHA256 sum "${text}")
file(WRITE "${SUM}" "${sum}\n")
