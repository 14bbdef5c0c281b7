# SPDX-License-Identifier: MIT
# Surveys the sources of a list on the machines of a Spark cluster, each of which has zvprobe and sees
# the files.
# usage: spark-submit spark.py LIST TABLE   (TABLE: where the Parquet files go)
import sys

from pyspark.sql import SparkSession

# Without a schema Spark would run everything twice, to find one out.
spark = SparkSession.builder.appName("zvprobe").getOrCreate()
schema = "source STRING, status INT, error STRUCT<kind: STRING, message: STRING>, format STRING"
names = spark.sparkContext.textFile(sys.argv[1], minPartitions=1000)
lines = names.pipe("zvprobe --json-lines --jobs 1 --files-from -")
spark.read.schema(schema).json(lines).write.parquet(sys.argv[2])
