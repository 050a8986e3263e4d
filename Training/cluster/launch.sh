# launch.sh: what slurm.sh and hosts.sh have in common: the commands of a job's shards.
#
# Reads SHARDS JOB OUT ...; sets $shards, $job (path of the job's script), $out, $call (how a shell
# anywhere calls the job) and $arguments (OUT and what follows it, for that shell).

# shellcheck shell=sh disable=SC2034,SC2154 # the launchers set and use these
here=$(cd "$(dirname "$0")" && pwd)
build=${MIRD_BUILD:-$(cd "$here/../.." && pwd)/build/release}

# Its arguments as words of a shell's command.
quote() {
    for word in "$@"; do
        printf "'%s' " "$(printf %s "$word" | sed "s/'/'\\\\''/g")"
    done
}

[ $# -ge 3 ] || { echo "usage: $usage" >&2; exit 2; }
shards=$1
job=$here/$2.sh
out=$3
shift 2
[ -e "$job" ] || { echo "no job ${job##*/} in $here" >&2; exit 2; }
mkdir -p "$out"
# Other machines and Slurm may begin elsewhere and know none of our variables.
call="cd $(quote "$PWD")&& MIRD_BUILD=$(quote "$build")$(quote "$job")"
arguments=$(quote "$@")
gather() { MIRD_BUILD=$build "$job" gather "$shards" "$@"; }
