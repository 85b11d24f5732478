# shellcheck shell=sh
# What the lines of shell in the tests of the programs may use. The tests set BIN, ROOT (the root
# directory of velorad) and SOURCE (the source tree).
PATH=$BIN:$PATH
SERVICE="vendor.velora_sp.hardware.kmssp.V2_0 /vendor/velora_sp/hardware/kmssp/V2_0"
INTERFACE=vendor.velora_sp.hardware.kmssp.V2_0.IKms

# Calls a method of the service.
call() {
    # shellcheck disable=SC2086  # two words
    busctl --user call $SERVICE "$INTERFACE" "$@"
}

# Prints what the completion of bash puts in place of the last word of a command line.
completes() {
    # shellcheck disable=SC2016  # variables of the inner shell
    COMP_LINE=$1 bash -c '
        . "$0"
        COMP_POINT=${#COMP_LINE}
        _velora "${COMP_LINE%% *}"
        IFS=,
        echo "${COMPREPLY[*]}"' "$SOURCE/data/bash-completion/veloractl"
}
