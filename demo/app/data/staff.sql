CREATE TABLE staff (name TEXT, room INTEGER, listed INTEGER);
INSERT INTO staff VALUES
  ('Ada Meyer', 12, 1),
  ('Liam O''Brien', 14, 1),
  ('The night porter', 1, 0);
CREATE TABLE account (login TEXT, password TEXT);
INSERT INTO account VALUES ('admin', 'swordfish');
