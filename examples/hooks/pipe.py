"""Rates messages through the pipe. Usage: pipe.py VELQ INSTALLATION"""
import json
import subprocess
import sys

filter_process = subprocess.Popen(
    [sys.argv[1], "rate", "--json-lines", "--install", sys.argv[2]],
    stdin=subprocess.PIPE, stdout=subprocess.PIPE, encoding="utf-8")


def rate(number, body):
    """The answer to one message: rating and reason, or what is wrong with the request."""
    print(json.dumps({"number": number, "body": body}), file=filter_process.stdin, flush=True)
    return json.loads(filter_process.stdout.readline())


print(rate("+4512345678", "hello, seven o'clock with cake")["rating"])
print(rate("ALERTS", '恭喜中奖，免费领取 😀 "$HOME"\nsecond line')["rating"])
print(rate("+4512345678", None)["error"])

filter_process.stdin.close()
sys.exit(filter_process.wait())
