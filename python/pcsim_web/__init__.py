"""The faceplate: the switch in a browser.

    browser  --WebSocket-->  Viewer  -->  Feed  --socket-->  pcsim
                                |           |
                                |        History (the last hour)
                                +-- a Session of the viewer's own: clicks, terminal

A Feed is what the gateway knows of one instance: the documents of its shows, asked again when an
event or a line says that they may have changed, its events, and the rates of its ports. All viewers
share it. A Viewer is one page; what it types and clicks runs in a session of its own, so that its
variables and whatever it waits for are nobody else's. What comes too fast for a page is summed up,
and said so. page.py tells the messages.
"""
