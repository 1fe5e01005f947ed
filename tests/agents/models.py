# SPDX-License-Identifier: MIT
"""Stand-ins for the model servers of both agents. A prompt that says `SCRIPT name` makes them
answer by that script: one list of tool calls after the other, then a final text. They keep no
state: how far a script is, they read from the conversation that each request carries."""
import http.server
import json
import re
import threading
import time

import scripts

FINAL = "All done."


def call_id(name, step, index):
    """Unlike any other: an agent may drop a call whose id it has seen in an earlier turn."""
    return f"toolu_{name}_{step}_{index}_{time.monotonic_ns()}"


def progress(conversation):
    """The script that the last prompt names, and how many of its steps were called. `conversation`
    lists texts of the person ("text") and ids of calls ("call") in order."""
    name, done = None, 0
    for kind, value in conversation:
        if kind == "text":
            found = re.match(r"\s*SCRIPT (\w+)", value)
            if found:
                name, done = found[1], 0
        elif name:
            match = re.fullmatch(rf"toolu_{name}_(\d+)_\d+_\d+", value)
            done = max(done, int(match[1]) + 1) if match else done
    return name, done


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *_):
        pass

    def reply(self, status, body, kind="application/json"):
        data = body if isinstance(body, bytes) else json.dumps(body).encode()
        self.send_response(status)
        self.send_header("Content-Type", kind)
        self.send_header("Content-Length", str(len(data)))
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(data)

    def stream(self, events):
        self.send_response(200)
        self.send_header("Content-Type", "text/event-stream")
        self.send_header("Connection", "close")
        self.end_headers()
        for event in events:
            text = f"event: {event['type']}\ndata: {json.dumps(event)}\n\n"
            self.wfile.write(text.encode())
            self.wfile.flush()
        self.close_connection = True

    def do_HEAD(self):
        self.reply(200, {})

    def do_GET(self):
        if self.path.split("?")[0].endswith("/models"):
            return self.reply(200, {"data": [], "models": []})
        return self.reply(404, {"error": {"message": "not here"}})

    def do_POST(self):
        body = json.loads(self.rfile.read(int(self.headers.get("Content-Length", 0))) or b"{}")
        self.server.requests.append(body)
        try:
            self.answer(body)
        except (BrokenPipeError, ConnectionResetError):
            self.close_connection = True

    def steps(self, conversation):
        """What to answer now: ("error", status, text), ("calls", name, step, calls) or
        ("text", text)."""
        name, done = progress(conversation)
        script = self.server.scripts.get(name, [])
        if done >= len(script):
            return ("text", FINAL)
        step = script[done]
        if "error" in step:
            return ("error", step["error"], step["message"])
        if "pause" in step:  # a model that takes its time
            time.sleep(step["pause"])
            return ("text", FINAL)
        return ("calls", name, done, step["calls"])


class Messages(Handler):
    """Anthropic's Messages API, as far as Claude Code uses it."""

    def answer(self, body):
        path = self.path.split("?")[0]
        if path.endswith("/count_tokens"):
            return self.reply(200, {"input_tokens": 10})
        if not path.endswith("/messages"):
            return self.reply(404, {"type": "error", "error": {"type": "not_found_error",
                                                               "message": "not here"}})
        offered = {tool.get("name") for tool in body.get("tools", [])}
        answer = self.steps(conversation_of_messages(body)) if offered else ("text", "A title")
        if answer[0] == "error":
            return self.reply(answer[1], {"type": "error", "error": {
                "type": "invalid_request_error", "message": answer[2]}})
        content = message_content(answer)
        if not body.get("stream"):
            return self.reply(200, message(body, content, stop_reason(content)))
        return self.stream(message_events(body, content))


def conversation_of_messages(body):
    for entry in body.get("messages", []):
        content = entry["content"]
        if isinstance(content, str):
            content = [{"type": "text", "text": content}]
        for part in content:
            if part["type"] == "text" and entry["role"] == "user":
                yield "text", part["text"]
            elif part["type"] == "tool_use":
                yield "call", part["id"]


def message_content(answer):
    if answer[0] == "text":
        return [{"type": "text", "text": answer[1]}]
    _, name, step, calls = answer
    return [{"type": "tool_use", "id": call_id(name, step, index), "name": tool, "input": given}
            for index, (tool, given) in enumerate(calls)]


def stop_reason(content):
    return "tool_use" if content[-1]["type"] == "tool_use" else "end_turn"


def message(body, content, reason):
    return {"id": f"msg_{time.monotonic_ns()}", "type": "message", "role": "assistant",
            "model": body.get("model"), "content": content, "stop_reason": reason,
            "stop_sequence": None, "usage": {"input_tokens": 10, "output_tokens": 10}}


def message_events(body, content):
    yield {"type": "message_start", "message": message(body, [], None)}
    for index, block in enumerate(content):
        if block["type"] == "text":
            empty = {"type": "text", "text": ""}
            delta = {"type": "text_delta", "text": block["text"]}
        else:
            empty = {**block, "input": {}}
            delta = {"type": "input_json_delta", "partial_json": json.dumps(block["input"])}
        yield {"type": "content_block_start", "index": index, "content_block": empty}
        yield {"type": "content_block_delta", "index": index, "delta": delta}
        yield {"type": "content_block_stop", "index": index}
    yield {"type": "message_delta", "delta": {"stop_reason": stop_reason(content),
                                              "stop_sequence": None},
           "usage": {"output_tokens": 10}}
    yield {"type": "message_stop"}


class Responses(Handler):
    """OpenAI's Responses API, as far as Codex uses it."""

    def answer(self, body):
        if not self.path.split("?")[0].endswith("/responses"):
            return self.reply(404, {"error": {"message": "not here"}})
        answer = self.steps(conversation_of_items(body))
        if answer[0] == "error":
            return self.reply(answer[1], {"error": {"message": answer[2], "type": "bad_request",
                                                    "code": None, "param": None}})
        return self.stream(response_events(response_items(answer)))


def conversation_of_items(body):
    for item in body.get("input", []):
        kind = item.get("type", "message")
        if kind == "message" and item.get("role") == "user":
            for part in item.get("content", []):
                if part.get("type") == "input_text":
                    yield "text", part["text"]
        elif kind == "agent_message":  # a subagent's task
            for part in item.get("content", []):
                yield "text", part.get("encrypted_content", "")
        elif kind in ("function_call", "custom_tool_call"):
            yield "call", item["call_id"]


def response_items(answer):
    if answer[0] == "text":
        return [{"type": "message", "role": "assistant", "id": f"msg_{time.monotonic_ns()}",
                 "content": [{"type": "output_text", "text": answer[1], "annotations": []}]}]
    _, name, step, calls = answer
    items = []
    for index, (tool, given) in enumerate(calls):
        *namespace, tool = tool.split(".")
        item = {"call_id": call_id(name, step, index), "name": tool, "status": "completed",
                "id": f"fc_{time.monotonic_ns()}"}
        if namespace:
            item["namespace"] = namespace[0]
        if isinstance(given, str):
            items.append({**item, "type": "custom_tool_call", "input": given})
        else:
            items.append({**item, "type": "function_call", "arguments": json.dumps(given)})
    return items


def response_events(items):
    response = {"id": f"resp_{time.monotonic_ns()}"}
    yield {"type": "response.created", "response": response}
    for index, item in enumerate(items):
        yield {"type": "response.output_item.added", "output_index": index, "item": item}
        yield {"type": "response.output_item.done", "output_index": index, "item": item}
    usage = {"input_tokens": 10, "input_tokens_details": {"cached_tokens": 0},
             "output_tokens": 10, "output_tokens_details": {"reasoning_tokens": 0},
             "total_tokens": 20}
    yield {"type": "response.completed", "response": {**response, "usage": usage}}


class ModelServer:
    """One of both on a port of 127.0.0.1 that the kernel chooses."""

    def __init__(self, handler, agent_scripts):
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
        self.server.daemon_threads = True
        self.server.scripts = agent_scripts
        self.server.requests = []
        self.address = f"http://127.0.0.1:{self.server.server_address[1]}"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    @property
    def requests(self):
        return self.server.requests


def claude():
    return ModelServer(Messages, scripts.CLAUDE)


def codex():
    return ModelServer(Responses, scripts.CODEX)
