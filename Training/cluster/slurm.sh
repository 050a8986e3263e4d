#!/bin/sh
# Runs a job of this folder as a job array of Slurm, waits for its end and gathers.
#
#   slurm.sh SHARDS JOB OUT ARGUMENTS...    JOB: selfplay, relabel, gate or suite
#
# What sbatch shall know besides, as the partition or a time limit, it reads from its own variables
# (SBATCH_PARTITION, SBATCH_TIMELIMIT ...). What shard I prints stands in OUT/shard-I.log. Each
# shard is one task on one processor.
set -eu
usage='slurm.sh SHARDS JOB OUT ARGUMENTS...'
. "$(dirname "$0")/launch.sh"
sbatch --wait --job-name "mird-${job##*/}" --array "0-$((shards - 1))" \
    --output "$out/shard-%a.log" \
    --wrap "$call shard \$SLURM_ARRAY_TASK_ID $shards $arguments"
gather "$@"
