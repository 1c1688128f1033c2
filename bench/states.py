"""The program in each state of its window, as a person would meet it."""

from pc import Pc

LIST_QUERY = "No of Connections = "


def wizard(stack, _, display):
    pc = stack.enter_context(Pc())
    pc.start_program(display)
    return pc


def waiting(stack, made, display):
    pc = stack.enter_context(Pc(made))
    pc.start_program(display)
    pc.wait_for_log("No ports available")
    return pc


def counting_down(stack, made, display):
    pc = stack.enter_context(Pc(made))
    pc.start_phone()
    pc.start_program(display)
    pc.wait_for_log("connection name in reg")
    return pc


def busy(stack, made, display):
    """Waits for a phone that does not answer."""
    pc = stack.enter_context(Pc(made))
    pc.start_phone("--silent", "on")
    pc.start_program(display)
    pc.wait_for_log("successfully reconfigured")
    return pc


def connected(stack, made, display):
    pc = stack.enter_context(Pc(made))
    pc.start_phone()
    pc.connect()
    pc.start_program(display)
    pc.wait_for_log(LIST_QUERY + "1")
    return pc


def disconnected(stack, made, display):
    pc = connected(stack, made, display)
    pc.phone("drop")
    pc.wait_for_log(LIST_QUERY + "0")
    return pc


def counting_down_again(stack, made, display):
    pc = waiting(stack, made, display)
    pc.start_phone()
    pc.wait_for_log("port 5 available")
    return pc


# Those that stay first; the counts go on for ten seconds only.
STATES = {
    "wizard": wizard,
    "waiting for the port": waiting,
    "busy": busy,
    "connected": connected,
    "disconnected": disconnected,
    "counting down again": counting_down_again,
    "counting down": counting_down,
}
COUNTING = ("counting down again", "counting down")


def prepared(stack):
    """A PC on which the set-up is done, to be copied."""
    made = stack.enter_context(Pc())
    made.start_phone()
    made.set_up()
    return made
