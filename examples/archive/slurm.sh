#!/bin/sh
# SPDX-License-Identifier: MIT
#SBATCH --array=0-99
#SBATCH --cpus-per-task=4
# Surveys the sources of a list, each task of the array its share.
# usage: sbatch slurm.sh LIST DIRECTORY   (where each task writes a file of lines)
set -eu
awk -v tasks="$SLURM_ARRAY_TASK_COUNT" -v task="$((SLURM_ARRAY_TASK_ID - SLURM_ARRAY_TASK_MIN))" \
    'NR % tasks == task' "$1" |
    zvprobe --json-lines --jobs "$SLURM_CPUS_PER_TASK" --files-from - \
        >"$2/$SLURM_ARRAY_TASK_ID.jsonl"
